#!/usr/bin/env bash
# usage: scripts/test_pipewire.sh
# Installs what is missing, builds, and runs the clean microphone of plugins/pipewire in PipeWire: with a
# session manager and a message bus of its own, a microphone that a file is played into, and no device,
# no display and no session of a user. What arrives in a recording must be what `sorvane process` gives.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++ ninja-build pkg-config \
    ladspa-sdk libcli11-dev libgtest-dev libsndfile1-dev libxsimd-dev lv2-dev nlohmann-json3-dev \
    dbus pipewire pipewire-bin sox wireplumber

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
mkdir -p build
cmake --preset release >build/release.log || { cat build/release.log; exit 1; }
cmake --build build/release -j "$jobs" --target sorvane sorvane_ladspa compare_audio -- --quiet

bin=$PWD/build/release/bin
model=$PWD/models/speech-48k.model
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export XDG_RUNTIME_DIR=$folder/run XDG_CONFIG_HOME=$folder/config XDG_STATE_HOME=$folder/state
configuration=$XDG_CONFIG_HOME/pipewire/pipewire.conf.d
mkdir -p -m 700 "$XDG_RUNTIME_DIR" "$configuration"
# As installed, with the paths that the command finds. A second filter, whose plug-in isn't there, must
# not end the sound server.
mkdir -p "$folder/prefix/bin" "$folder/prefix/share/sorvane/plugins/pipewire"
ln -s "$PWD/build/release/lib" "$folder/prefix/lib"
cp plugins/pipewire/sorvane-microphone "$folder/prefix/bin"
cp plugins/pipewire/sorvane-microphone.conf "$folder/prefix/share/sorvane/plugins/pipewire"
"$folder/prefix/bin/sorvane-microphone" on
sed 's|plugin *= .*|plugin = "/nowhere/sorvane_ladspa.so"|; s/sorvane_microphone/wrong_path/' \
    plugins/pipewire/sorvane-microphone.conf >"$configuration/wrong-path.conf"
cat >"$configuration/test-microphone.conf" <<'CONF'
context.objects = [
    {   factory = adapter
        args = {
            factory.name   = support.null-audio-sink
            node.name      = test_microphone
            media.class    = Audio/Source/Virtual
            audio.rate     = 48000
            audio.position = [ MONO ]
        }
    }
]
CONF
cd "$folder"

# The silence at the end pushes out what the player and the plug-in hold back.
sox -R -n -r 48000 -c 1 -b 32 -e floating-point talk.wav synth 3 whitenoise vol 0.3
sox talk.wav played.wav pad 0 1
"$bin/sorvane" process "$model" talk.wav expected.wav --remainder -96 # as the configuration has it

cat >session.sh <<'SESSION'
set -euo pipefail
# until_true COMMAND...: for at most ten seconds.
until_true() {
    for _ in $(seq 100); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    echo "in vain: $*" >&2
    return 1
}
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT
linked() {
    pw-link -l | grep -A1 "$1" | grep -q "$2"
}

pipewire 2>pipewire.log &
until_true pw-cli info 0
wireplumber >wireplumber.log 2>&1 &
until_true linked test_microphone:capture_MONO sorvane_microphone.input:input_MONO
# Long cycles, so that a busy machine keeps up.
pw-metadata -n settings 0 clock.force-quantum 8192 >/dev/null

format=(--rate 48000 --channels 1 --format f32)
pw-cat --record --target sorvane_microphone "${format[@]}" \
    --properties '{ node.name = recorder }' recorded.wav &
recorder=$!
until_true linked sorvane_microphone:capture_MONO recorder:input_MONO
pw-cat --playback --target 0 "${format[@]}" --properties '{ node.name = player }' played.wav &
player=$!
until_true pw-link player:output_MONO test_microphone:input_MONO
wait $player
sleep 1
kill -INT $recorder
wait $recorder || true
SESSION
timeout 60 dbus-run-session -- bash session.sh || { cat ./*.log; exit 1; }
"$bin/compare_audio" expected.wav recorded.wav any 1e-6
echo "all well"
