#!/usr/bin/env bash
# usage: ladspa_hosts.sh PROGRAM MODEL COMPARE LADSPA_FOLDER
# Runs the LADSPA plug-ins in analyseplugin, applyplugin, ffmpeg and sox, and compares what comes out
# with the program's files.
# shellcheck source=hosts_util.sh
. "$(dirname "$0")/hosts_util.sh"
export LADSPA_PATH=$4
label=noise_gate_48k
bits16=3.1e-5 # a step of 16 bits

[ "$(nm -D --defined-only "$4/sorvane_ladspa.so" | awk '{ print $3 }')" = ladspa_descriptor ] ||
    fail "exports more than ladspa_descriptor"

analyseplugin sorvane_ladspa.so >description || fail "analyseplugin: $(cat description)"
for text in "\"${label}_mono\"" "\"${label}_stereo\"" \
    '"Remainder level (dB)" input, control, -96 to 0, default 0' \
    '"Amount" input, control, 0 to 1, default 1' '"latency" output, control, '; do
    grep -qF "$text" description || fail "analyseplugin doesn't print $text"
done

# Amount, remainder level, sensitivities of speech and noise, removed, enabled.
cleaned="1 -40 0 0 0 1"
bent="0.8 -96 30 0 1 1"

# applyplugin writes 16 bits.
for name in mono stereo; do
    # shellcheck disable=SC2086 # controls are words
    applyplugin $name.wav $name.apply.wav sorvane_ladspa.so ${label}_$name $cleaned >messages ||
        fail "applyplugin: $(cat messages)"
    expect $name.cleaned.wav $name.apply.wav $latency $bits16
done

for name in mono stereo; do
    # shellcheck disable=SC2086
    for set in cleaned bent; do
        sox $name.wav $name.sox.wav ladspa sorvane_ladspa ${label}_$name ${!set}
        expect $name.$set.wav $name.sox.wav $latency
        sox $name.wav $name.sox-l.wav ladspa -l sorvane_ladspa ${label}_$name ${!set}
        expect $name.$set.wav $name.sox-l.wav 0
    done
done
# The voice cleaner is at work at once, with the model for the rate.
sox mono.wav voice.wav ladspa -l sorvane_ladspa voice_cleaner_mono
"$program" process speech-48k mono.wav voice.expected.wav --remainder -96
expect voice.expected.wav voice.wav 0
# Without controls a model of another kind changes nothing.
sox mono.wav default.wav ladspa -l sorvane_ladspa ${label}_mono
expect mono.wav default.wav 0

# through_ffmpeg INPUT OUTPUT FILTERS
through_ffmpeg() {
    ffmpeg -nostdin -loglevel error -y -i "$1" -af "$3" -c:a pcm_f32le "$2" || fail "ffmpeg: $3"
}
filter=ladspa=file=sorvane_ladspa:plugin=${label}
for name in mono stereo; do
    through_ffmpeg $name.wav $name.ffmpeg.wav "${filter}_$name:controls=c1=-40:latency=1"
    expect $name.cleaned.wav $name.ffmpeg.wav 0
    through_ffmpeg $name.wav $name.ffmpeg.wav \
        "${filter}_$name:controls=c0=0.8|c1=-96|c2=30|c4=1:latency=1"
    expect $name.bent.wav $name.ffmpeg.wav 0
done
echo "all well"
