#!/usr/bin/env bash
# usage: program_texts.sh PROGRAM SOURCE_FOLDER
# Manual pages and completions name the options that the program has, and no others; the page of the
# library names the functions of its header.
set -euo pipefail
program=$1
cd "$2"
failures=0

# same WHAT EXPECTED ACTUAL: two lists, one word a line, in any order.
same() {
    diff <(sort -u <<<"$2") <(sort -u <<<"$3") >/dev/null && return
    echo "$1 (< is missing, > is too much):"
    diff <(sort -u <<<"$2") <(sort -u <<<"$3") | grep '^[<>]' || true
    failures=$((failures + 1))
}

compopt() { :; } # works only within a completion
# shellcheck source=/dev/null
source tools/completions/sorvane.bash
# completed WORD...: what bash offers for the last word.
completed() {
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _sorvane
    printf '%s\n' "${COMPREPLY[@]}"
}

for command in denoise process models info bench; do
    options=$("$program" "$command" --help | grep -oP '^  (-[a-z],)?\K--[a-z-]+')
    [ "$(wc -l <<<"$options")" -ge 2 ]
    # `models` has its place on the page of the program.
    page=docs/man/sorvane-$command.1.in
    [ -e "$page" ] && same "manual page of $command" "$options" \
        "$(grep -oP '^\.It .*?Fl -\K[a-z-]+' "$page" | sed 's/^/--/')"
    same "bash: $command" "$options" "$(completed sorvane "$command" --)"
    same "zsh: $command" "$options" "$(sed -n "/^    $command)/,/;;/p" tools/completions/_sorvane |
        grep -oP "^ .*?[*){,']\K--[a-z-]+(?=[}\[])")"
    same "fish: $command" "$options" "$(grep -oP "(\\\$$command|-s h)( -s [a-z])? -l \K[a-z-]+" \
        tools/completions/sorvane.fish | sed 's/^/--/')"
done
same "bash: after --clip" $'none\nlimit\nscale' "$(completed sorvane process --clip '')"
same "bash: the commands" info "$(completed sorvane i)"
sorvane() { "$program" "$@"; }
same "bash: models" $'speech-48k\nspeech-small-48k\nspeech-16k\nspeech-small-16k\nnoise-gate-48k' \
    "$(completed sorvane process '')"
same "bash: busses" $'Speech\nNoise' "$(completed sorvane process speech-48k --stem '')"
same "manual page of the library" \
    "$(grep -oP '^SORVANE_API .*?\Ksorvane\w+(?=\()' src/engine/sorvane_engine.h)" \
    "$(grep -oP '^\.F[no] \Ksorvane\w+' docs/man/sorvane_engine.3.in)"
exit $((failures > 0))
