#!/usr/bin/env bash
# usage: pipes.sh PROGRAM MODEL
# Runs the program between ffmpeg and sox, as users do.
set -euo pipefail
program=$1
model=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

fail() {
    echo "pipes.sh: $*" >&2
    exit 1
}

# peak FILE...: the highest level of what sox makes of them.
peak() {
    sox "$@" -n stat 2>&1 | awk '/^M(ax|in)imum amplitude/ { a = $3 < 0 ? -$3 : $3; if (a > m) m = a }
                                 END { print m + 0 }'
}

sox -n -r 48000 -c 2 -b 16 talk.wav synth 5 whitenoise vol 0.3

# From ffmpeg to sox, in three formats; at default gains the output is the input.
for format in s16le s24be f32le; do
    ffmpeg -nostdin -loglevel error -i talk.wav -f $format -ar 48000 -ac 2 - |
        "$program" process "$model" - - --raw-input $format:48000:2 --raw-output s16le |
        sox -t raw -r 48000 -e signed-integer -b 16 -L -c 2 - back.wav
    [ "$(soxi -s back.wav)" = 240000 ] || fail "$format: length $(soxi -s back.wav)"
    sox -m -v 1 talk.wav -v -1 back.wav difference.wav
    [ "$(peak difference.wav)" = 0 ] || fail "$format: differs by $(peak difference.wav)"
done

# A reader that leaves early ends the program, quietly and with success, though the input never ends.
set +e
timeout 60 sh -c 'cat /dev/zero | { "$0" process "$1" - - --quiet --raw-input s16le:48000:2 \
    --raw-output s16le 2>messages; echo $? >code; } | head -c 100000 >head.raw' "$program" "$model"
set -e
[ "$(cat code)" = 0 ] || fail "early: exit code $(cat code)"
[ ! -s messages ] || fail "early: $(cat messages)"
[ "$(wc -c <head.raw)" = 100000 ] || fail "early: $(wc -c <head.raw) bytes"

# Blocks go out whole as they are complete, and not only at the end: a second of input stays open.
mkfifo slow
"$program" process "$model" slow - --raw-input s16le:48000:1 --raw-output s16le >live.raw &
run=$!
exec 3>slow
head -c 96000 /dev/zero >&3
for _ in $(seq 100); do
    [ "$(wc -c <live.raw)" -ge 92160 ] && break
    sleep 0.1
done
early=$(wc -c <live.raw)
exec 3>&-
wait $run
[ "$early" -ge 92160 ] || fail "live: only $early bytes before the end"
[ "$(wc -c <live.raw)" = 96000 ] || fail "live: $(wc -c <live.raw) bytes"
# Two files at a time: the second is read while the first has not begun.
mkfifo first second
"$program" process "$model" first second --out-dir both --jobs 2 --raw-input s16le:48000:1 &
run=$!
head -c 9600 /dev/zero | timeout 60 tee second >/dev/null || fail "jobs: the second file waits"
head -c 9600 /dev/zero >first
wait $run

echo "all well"
