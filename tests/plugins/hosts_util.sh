# shellcheck shell=bash
# What the tests with real hosts share; sourced with the program, the model and compare_audio as the
# first three arguments. Works in a folder of its own.
set -euo pipefail
program=$1
model=$2
compare=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
unset SORVANE_MODEL_PATH

latency=1536 # of noise-gate-48k at 48 kHz: two frames that overlap, and one of look-ahead

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

# Without its warnings about the headers that other programs write.
sox() {
    command sox -V1 "$@"
}

# expect REFERENCE OUTPUT LATENCY [TOLERANCE]
expect() {
    "$compare" "$1" "$2" "$3" "${4:-1e-6}" || fail "$2 is not $1 after $3 samples"
}

sox -R -n -r 48000 -c 2 -b 32 -e floating-point stereo.wav synth 3 whitenoise vol 0.3
sox stereo.wav mono.wav remix 1
for name in mono stereo; do
    "$program" process "$model" $name.wav $name.cleaned.wav --remainder -40
    "$program" process "$model" $name.wav $name.bent.wav --remainder -96 --sensitivity Speech=30 \
        --amount 0.8 --invert
done
