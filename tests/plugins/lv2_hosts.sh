#!/usr/bin/env bash
# usage: lv2_hosts.sh PROGRAM MODEL COMPARE LV2_FOLDER
# Runs the LV2 plug-ins in lv2info, lv2apply and ffmpeg, and compares what comes out with the program's
# files.
# shellcheck source=hosts_util.sh
. "$(dirname "$0")/hosts_util.sh"
export LV2_PATH=$4:/usr/lib/lv2
uri=urn:sorvane:lv2:noise_gate_48k

[ "$(nm -D --defined-only "$4/sorvane.lv2/sorvane_lv2.so" | awk '{ print $3 }')" = lv2_lib_descriptor ] ||
    fail "exports more than lv2_lib_descriptor"
if command -v lv2_validate >/dev/null && command -v sord_validate >/dev/null; then
    (cd "$4/sorvane.lv2" && lv2_validate ./*.ttl) >messages 2>&1 ||
        fail "lv2_validate: $(cat messages)"
    grep -q "Found 0 errors" messages || fail "lv2_validate: $(cat messages)"
fi

# Symbols of all ports, and that the host sees the latency.
ports() {
    lv2info "$uri$1" | awk '/Symbol:/ { printf "%s ", $2 }'
}
[ "$(ports _stereo)" = "in_left in_right out_left out_right amount remainder_level sensitivity_0 \
sensitivity_1 removed enabled latency " ] || fail "lv2info: $(ports _stereo)"
[ "$(ports _stems)" = "in_left in_right stem_0_left stem_0_right stem_1_left stem_1_right \
sensitivity_0 sensitivity_1 latency " ] || fail "lv2info: $(ports _stems)"
lv2info ${uri}_stereo >messages
grep -q "Has latency: *yes, reported by port 10" messages || fail "lv2info: no latency"

lv2apply -i stereo.wav -o apply.wav -c remainder_level -40 ${uri}_stereo
expect stereo.cleaned.wav apply.wav $latency
lv2apply -i stereo.wav -o apply.wav -c remainder_level -96 -c sensitivity_0 30 -c amount 0.8 \
    -c removed 1 ${uri}_stereo
expect stereo.bent.wav apply.wav $latency

escaped=${uri//:/\\\\:}
ffmpeg -nostdin -loglevel error -i stereo.wav -af "lv2=p=${escaped}_stereo:c=remainder_level=-40" \
    -c:a pcm_f32le ffmpeg.wav || fail "ffmpeg"
expect stereo.cleaned.wav ffmpeg.wav $latency

# A switch that all hosts know: the input, as late as the result.
lv2apply -i stereo.wav -o apply.wav -c remainder_level -96 -c enabled 0 ${uri}_stereo
expect stereo.wav apply.wav $latency
lv2info urn:sorvane:lv2:voice_cleaner_stereo | grep 'Voice alone' >presets || fail "no presets"

# A bundle of one's own carries its model.
mkdir models && cp "$model" models/mine.model
"$(dirname "$program")/sorvane_lv2_bundle" mine.lv2 "$4/sorvane.lv2/sorvane_lv2.so" models/mine.model
rm -r models
LV2_PATH=$PWD:$LV2_PATH lv2apply -i stereo.wav -o apply.wav -c remainder_level -40 \
    urn:sorvane:lv2:mine_stereo
expect stereo.cleaned.wav apply.wav $latency

# The stems are the program's, in four channels.
"$program" process "$model" stereo.wav --out-dir stems --stems all
sox -M stems/*Speech.wav stems/*Noise.wav -b 32 -e floating-point both.wav
lv2apply -i stereo.wav -o stems.wav ${uri}_stems
expect both.wav stems.wav $latency
echo "all well"
