#!/usr/bin/env bash
# usage: recordings.sh PROGRAM
# What people have, through `sorvane denoise`: real containers, folders, pipes, broken files, and a run
# that is killed and goes on.
set -euo pipefail
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
failures=0

fail() {
    echo "recordings.sh: $*" >&2
    failures=$((failures + 1))
}

# is WHAT EXPECTED ACTUAL
is() {
    [ "$2" = "$3" ] || fail "$1: expected '$2', got '$3'"
}

make() {
    ffmpeg -nostdin -v error -y "$@"
}

probe() {
    ffprobe -v error -of default=noprint_wrappers=1:nokey=1 "$@"
}

# packets FILE MAP: a sum of the packets' bytes.
packets() {
    ffmpeg -nostdin -v error -i "$1" -map "$2" -c copy -f streamhash -hash md5 - | sed 's/.*=//'
}

# samples FILE [MAP]: how many a decoder gets.
samples() {
    ffmpeg -nostdin -v error -i "$1" -map "${2:-0:a:0}" -ac 1 -f s16le - | wc -c | awk '{ print $1 / 2 }'
}

# level FILE [MAP]: of the whole, in dB.
level() {
    ffmpeg -nostdin -i "$1" -map "${2:-0:a:0}" -af volumedetect -f null - 2>&1 |
        sed -n 's/.*mean_volume: \(.*\) dB/\1/p'
}

# quieter WHAT BEFORE AFTER: the noise is down by 10 dB at least.
quieter() {
    awk "BEGIN { exit !($3 < $2 - 10) }" || fail "$1: $2 dB became $3 dB"
}

hiss=(-f lavfi -i "anoisesrc=r=48000:d=4:a=0.2:seed=1")
make "${hiss[@]}" -c:a pcm_s16le hiss.wav
printf ';FFMETADATA1\ntitle=A talk\nartist=Nobody\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=2000\ntitle=One\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=2000\nEND=4000\ntitle=Two\n' >tags
make -f lavfi -i testsrc=d=1:s=64x64:r=1 -frames:v 1 cover.jpg

# A film of two tracks and subtitles: pictures packet by packet the same, every track cleaned.
printf '1\n00:00:00,000 --> 00:00:03,000\nHello\n' >text.srt
make -f lavfi -i testsrc=d=4:s=64x64:r=25 "${hiss[@]}" -f lavfi \
    -i "anoisesrc=r=44100:d=4:a=0.1:seed=2" -i text.srt -map 0 -map 1 -map 2 -map 3 -ac:a:1 2 \
    -c:v mpeg4 -c:a:0 aac -c:a:1 libmp3lame -c:s srt -metadata:s:a:1 language=deu film.mkv
"$program" denoise film.mkv 2>/dev/null
is "film: streams" "$(probe -show_entries stream=codec_name,channels,sample_rate film.mkv)" \
    "$(probe -show_entries stream=codec_name,channels,sample_rate film.clean.mkv)"
is "film: pictures" "$(packets film.mkv 0:v)" "$(packets film.clean.mkv 0:v)"
is "film: subtitles" "$(packets film.mkv 0:s)" "$(packets film.clean.mkv 0:s)"
is "film: language" deu "$(probe -select_streams a:1 -show_entries stream_tags=language film.clean.mkv)"
for track in 0:a:0 0:a:1; do
    quieter "film: $track" "$(level film.mkv $track)" "$(level film.clean.mkv $track)"
done
"$program" denoise film.mkv --track 2 -o second.mkv --quiet
is "--track: the other track" "$(packets film.mkv 0:a:0)" "$(packets second.mkv 0:a:0)"
quieter "--track" "$(level film.mkv 0:a:1)" "$(level second.mkv 0:a:1)"

# Codings, tags, chapters, cover art and bit rates.
make -i hiss.wav -i tags -i cover.jpg -map 0:a -map 2:v -map_metadata 1 -map_chapters 1 -c:a aac \
    -b:a 64k -c:v mjpeg -disposition:v attached_pic talk.m4a
make -i hiss.wav -i cover.jpg -map 0 -map 1 -map_metadata -1 -metadata title="A talk" \
    -metadata TSRC=DE0001 -c:a libmp3lame -b:a 96k -c:v mjpeg -id3v2_version 3 talk.mp3
make -i hiss.wav -i cover.jpg -map 0 -map 1 -metadata title="A talk" -metadata mood=calm -c:a flac \
    -c:v mjpeg -disposition:v attached_pic talk.flac
make -i hiss.wav -ar 44100 -write_bext 1 -metadata description=Interview \
    -metadata time_reference=441000 talk.wav
make -i hiss.wav -c:a libvorbis -b:a 80k talk.ogg
make -i hiss.wav -c:a libopus -b:a 48k talk.webm
make -i hiss.wav -c:a wmav2 -b:a 64k talk.wma
make -i hiss.wav -c:a aac -b:a 64k talk.aac
for file in talk.*; do
    clean=talk.clean.${file#*.}
    "$program" denoise "$file" --quiet || fail "$file: exit code $?"
    quieter "$file" "$(level "$file")" "$(level "$clean")"
    is "$file: coding" "$(probe -select_streams a -show_entries stream=codec_name "$file")" \
        "$(probe -select_streams a -show_entries stream=codec_name "$clean")"
    before=$(samples "$file") after=$(samples "$clean")
    awk "BEGIN { d = $after - $before; exit !(d * d <= 2400 * 2400) }" ||
        fail "$file: $before samples became $after"
    for tag in title artist TSRC mood description time_reference; do
        is "$file: $tag" "$(probe -show_entries format_tags=$tag "$file")" \
            "$(probe -show_entries format_tags=$tag "$clean")"
    done
    is "$file: chapters" "$(probe -show_chapters "$file")" "$(probe -show_chapters "$clean")"
    if [ "$(probe -select_streams v -show_entries stream=codec_name "$file")" ]; then
        is "$file: cover" "$(packets "$file" 0:v)" "$(packets "$clean" 0:v)"
    fi
done
is "mp3: bit rate" 96000 "$(probe -select_streams a -show_entries stream=bit_rate talk.clean.mp3)"
"$program" denoise hiss.wav -o low.mp3 --bitrate 40 --quiet
is "--bitrate" 40000 "$(probe -select_streams a -show_entries stream=bit_rate low.mp3)"
"$program" denoise talk.wav -o talk.opus --quiet # Opus has no 44.1 kHz
quieter "opus" "$(level talk.wav)" "$(level talk.opus)"

# Pipes: WAV as it comes, another format, and a reader of the output that needs a header.
for format in "wav -c:a pcm_s16le" flac; do
    # shellcheck disable=SC2086
    make -i hiss.wav -f $format - | "$program" denoise - | make -f wav -i - piped.wav
    is "pipe of $format: length" 192000 "$(samples piped.wav)"
    quieter "pipe of $format" "$(level hiss.wav)" "$(level piped.wav)"
done

# Broken files.
head -c 200000 hiss.wav >cut.wav
"$program" denoise cut.wav 2>messages
grep -q 'cut off: 0:02 of 0:04' messages || fail "cut.wav: $(cat messages)"
head -c 60000 talk.flac >cut.flac
code=0 && "$program" denoise cut.flac 2>messages || code=$?
is "cut.flac: exit code" 3 $code
grep -q -- --keep-going messages || fail "cut.flac: $(cat messages)"
"$program" denoise cut.flac --keep-going --quiet 2>/dev/null || fail "--keep-going: exit code $?"
[ "$(samples cut.clean.flac)" -gt 10000 ] || fail "--keep-going: $(samples cut.clean.flac) samples"
make -f lavfi -i testsrc=d=1:s=64x64 -c:v mpeg4 mute.mp4
code=0 && "$program" denoise mute.mp4 2>messages || code=$?
is "a film without audio" "3 sorvane: 'mute.mp4' holds no audio" "$code $(cat messages)"
code=0 && PATH=/nowhere "$program" denoise talk.m4a --force 2>messages || code=$?
is "without ffmpeg: exit code" 3 $code
grep -q "ffmpeg, which isn't installed" messages || fail "without ffmpeg: $(cat messages)"

# Forty files in folders, two of them broken: killed after 13, and gone on with.
mkdir -p many/deep
for number in $(seq -w 1 40); do
    cp hiss.wav "many/$([ "$number" -gt 30 ] && echo deep/)$number.wav"
done
echo "no audio" | tee many/07.wav many/deep/33.wav many/notes.txt >/dev/null
"$program" denoise many --recursive --out-dir clean 2>messages &
run=$!
while [ "$(find clean -name '*.wav' 2>/dev/null | wc -l)" -lt 13 ]; do
    kill -0 $run || break
    sleep 0.02
done
kill -KILL $run
wait $run || true
done=$(find clean -name '*.wav' | wc -l)
touch -d '1 hour ago' clean/*.wav
code=0 && "$program" denoise many --recursive --out-dir clean 2>messages || code=$?
is "resumed: exit code" 3 $code
is "resumed: untouched" "$done" "$(find clean -name '*.wav' -mmin +30 | wc -l)"
is "resumed: all" 38 "$(find clean -name '*.wav' | wc -l)"
is "resumed: left over" "" "$(find clean -name '.*.part')"
is "resumed: summary" \
    "40 files: $((38 - done)) done, 2 failed, $done there already; 1 other holds no audio" \
    "$(tail -n 1 messages)"
is "resumed: failures" 2 "$(grep -c '^sorvane: can.t read' messages)"
exit $((failures > 0))
