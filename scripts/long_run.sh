#!/usr/bin/env bash
# usage: scripts/long_run.sh [SECONDS]
# Runs a speech model over a minute and over SECONDS (an hour) of audio, and prints the time and the
# most memory that each took: memory must not grow with the length. Needs a release build.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh sox
bin=build/release/bin
model=models/speech-small-16k.model
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

for seconds in 60 "${1:-3600}"; do
    sox -R -n -r 16000 -b 16 "$folder/in.wav" synth "$seconds" whitenoise vol 0.5
    start=$(date +%s)
    "$bin/sorvane" process "$model" "$folder/in.wav" "$folder/out.wav" --stem 0 --force &
    process=$!
    peak=0
    while status=$(grep VmHWM "/proc/$process/status" 2>/dev/null); do
        peak=$(tr -dc 0-9 <<<"$status")
        sleep 0.2
    done
    wait "$process"
    echo "$seconds s of audio: $(($(date +%s) - start)) s, at most $peak kB"
done
"$bin/sorvane" info "$model" | tail -n 40
