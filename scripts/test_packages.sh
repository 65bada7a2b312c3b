#!/usr/bin/env bash
# usage: scripts/test_packages.sh
# Installs what is missing, builds the Debian packages and the tarball, lets lintian judge the
# packages, installs them, tries the program, its manual page, the plug-ins and a host of one's own,
# and removes them again. Works as root. The packages are left in build/debian, the tarball in
# build/tarball.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake devscripts file g++ lintian man-db ninja-build pkg-config \
    ladspa-sdk libcli11-dev libsndfile1-dev libxsimd-dev lv2-dev nlohmann-json3-dev

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
work=$(mktemp -d)
major=$(sed -n 's/^project(SorvaneEngine VERSION \([0-9]*\)\..*/\1/p' CMakeLists.txt)
names=("libsorvaneengine$major" "libsorvanehost$major" libsorvaneengine-dev sorvane sorvane-models sorvane-plugins)
installed() {
    dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${names[@]}" 2>/dev/null |
        grep -v '^not-installed' || true
}
present=$(installed)
[ -z "$present" ] || { echo "remove first what is there: $present" >&2; exit 1; }
trap 'rm -rf "$work"; dpkg --purge "${names[@]}" >/dev/null 2>&1 || true' EXIT

# step COMMAND...: runs quietly, and shows what it wrote if that fails.
step() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}
fail() {
    echo "$*" >&2
    exit 1
}

# tells WORD COMMAND...: whether the command writes the word. It writes to its end: a reader that
# leaves early would end it by a signal.
tells() {
    local word=$1 text
    shift
    text=$("$@") && [[ $text == *"$word"* ]]
}

step cmake --preset debian
step cmake --build build/debian -j "$jobs"
rm -f build/debian/*.deb
(cd build/debian && step cpack -G DEB)
lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs \
    build/debian/*.deb

step env DEBIAN_FRONTEND=noninteractive apt-get install -y ./build/debian/*.deb
[ "$(installed | grep -c '^installed')" = ${#names[@]} ] || fail "installed: $(installed)"
cd "$work"
tells Speech sorvane info speech-48k || fail "sorvane info"
tells --sensitivity man --pager=cat sorvane-process || fail "manual page of the program"
tells sorvaneAddAudio man --pager=cat 3 sorvane_engine || fail "manual page of the library"
tells noise_gate_48k_mono analyseplugin /usr/lib/ladspa/sorvane_ladspa.so ||
    fail "LADSPA plug-in"
cp /usr/share/sorvane/examples/stream_wav.c /usr/share/sorvane/examples/wav.h .
# shellcheck disable=SC2046 # flags are words
cc -std=c99 -o host stream_wav.c $(pkg-config --cflags --libs sorvane_host)
for library in Engine Host; do
    tells "/libSorvane$library.so.$major " ldd host || fail "a host doesn't find the library"
    hardening-check /usr/lib/*/libSorvane$library.so."$major" || fail "a library isn't hardened"
done
hardening-check /usr/bin/sorvane /usr/lib/ladspa/sorvane_ladspa.so || fail "they aren't hardened"
cd - >/dev/null

step dpkg --purge "${names[@]}"
[ -z "$(installed)" ] || fail "still there: $(installed)"
[ -z "$(find /usr/share/sorvane /usr/share/doc/*sorvane* /usr/lib/lv2/sorvane.lv2 2>/dev/null)" ] ||
    fail "files are left behind"
echo "== Debian packages: all well"

step cmake --preset release -B build/tarball -DCMAKE_BUILD_TYPE=Release -DSORVANE_BUILD_TESTS=OFF
step cmake --build build/tarball -j "$jobs"
(cd build/tarball && step cpack -G TGZ)
tar -xzf build/tarball/sorvane-engine-*.tar.gz -C "$work"
cd "$work"/sorvane-engine-*
tells Speech bin/sorvane info speech-48k || fail "sorvane info"
tells noise_gate_48k_mono analyseplugin lib/ladspa/sorvane_ladspa.so || fail "LADSPA plug-in"
echo "== tarball: all well"
