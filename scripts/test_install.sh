#!/usr/bin/env bash
# usage: scripts/test_install.sh [BUILD_FOLDER]
# Installs to an empty folder, moves that elsewhere, and tries what is there: what the library
# needs, the program and a plug-in, and the examples, built by CMake and by pkg-config. Installs
# from a build, or without one from a clean checkout, which it builds and deletes before it tries
# anything.
set -euo pipefail
source=$(cd "$(dirname "$0")/.." && pwd)
build=${1:+$(cd "$1" && pwd)}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# step COMMAND...: runs quietly, and shows what it wrote if that fails.
step() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}
fail() {
    echo "$*" >&2
    exit 1
}

if [ -z "$build" ]; then
    "$source"/scripts/install_packages.sh cmake g++ git make ninja-build pkg-config python3 \
        ladspa-sdk libcli11-dev libsndfile1-dev libxsimd-dev lv2-dev nlohmann-json3-dev
    step git clone "$source" "$work/checkout"
    build=$work/checkout/build
    step cmake -S "$work/checkout" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DSORVANE_BUILD_TESTS=OFF
    step cmake --build "$build"
fi
step cmake --install "$build" --prefix "$work/installed"
prefix=$work/moved
mv "$work/installed" "$prefix"
rm -rf "$work/checkout"

# The library: its name, what it needs, and one version everywhere.
for library in "$prefix"/lib*/libSorvaneEngine.so "$prefix"/lib*/*/libSorvaneEngine.so; do
    [ -e "$library" ] && break
done
libraries=$(dirname "$library")
dynamic=$(readelf -d "$library")
needed=$(grep -oP 'NEEDED.*\[\K[^]]+' <<<"$dynamic")
others=$(grep -vE '^(libstdc\+\+|libm|libgcc_s|libc|ld-linux.*)\.so\.[0-9]+$' <<<"$needed" || true)
[ -z "$others" ] || fail "the library needs $others"
grep -qE 'RPATH|RUNPATH' <<<"$dynamic" && fail "the library looks for others in a folder"
export PKG_CONFIG_PATH=$libraries/pkgconfig
version=$(pkg-config --modversion sorvane_engine)
grep -q "SONAME.*\[libSorvaneEngine.so.${version%%.*}\]" <<<"$dynamic" || fail "soname: $dynamic"
[ "$(readlink -f "$library")" = "$libraries/libSorvaneEngine.so.$version" ] ||
    fail "version of the library"
[ "$("$prefix/bin/sorvane" --version)" = "sorvane $version" ] || fail "version of the program"

# Descriptions and pages name no folder of the build.
if grep -rIlF -e "$build" -e "$work/installed" "$prefix"; then
    fail "the files above name a folder that isn't there any more"
fi
for document in docs/host-layer.md docs/hosting.md docs/model-format.md docs/parameters.md \
    docs/speech-models.md docs/pictures/speech-models.png docs/pictures/training-curve.png training/ATTRIBUTION.md \
    training/recipes/speech/README.md; do
    cmp "$source/$document" "$prefix/share/sorvane/$document"
done
# No link in an installed document leads nowhere.
find "$prefix/share/sorvane" -name '*.md' | while read -r document; do
    { grep -oP '\]\(\K[^)#:]+(?=[)#])' "$document" || true; } | while read -r link; do
        [ -e "$(dirname "$document")/$link" ] || fail "$document: nothing is at $link"
    done
done
page=$(gzip -cdf "$prefix"/share/man/man1/sorvane.1*)
[[ $page == *"SorvaneEngine $version"* ]] || fail "the manual page names another version"
model=$prefix/share/sorvane/models/noise-gate-48k.model
"$prefix/bin/sorvane" info "$model" >/dev/null
if command -v analyseplugin >/dev/null; then
    plugins=$(analyseplugin "$prefix/lib/ladspa/sorvane_ladspa.so")
    [[ $plugins == *noise_gate_48k_mono* ]] || fail "the plug-in finds no model"
fi
"$prefix/bin/sorvane_lv2_bundle" "$work/mine.lv2" \
    "$prefix/lib/lv2/sorvane.lv2/sorvane_lv2.so" "$model"
grep -q noise_gate_48k_stereo "$work"/mine.lv2/*.ttl || fail "a bundle lacks its plug-in"
# Where the build had the option for it, and its Python has what the package needs.
"${SORVANE_PYTHON:-false}" -c 'import numpy' 2>/dev/null || SORVANE_PYTHON=
for packages in "$libraries"/python3*/*-packages; do
    [ ! -d "$packages" ] || [ -z "${SORVANE_PYTHON:-}" ] ||
        PYTHONPATH=$packages "$SORVANE_PYTHON" -c "import sorvane
sorvane.Processor('$model', 1, 48000)
assert sorvane.__version__ == '$version'" || fail "the Python package doesn't work"
done

cp -r "$prefix/share/sorvane/examples" "$work/examples"
step cmake -S "$work/examples" -B "$work/examples/build" -DCMAKE_PREFIX_PATH="$prefix"
step cmake --build "$work/examples/build"
step make -C "$work/examples"
step python3 "$work/examples/noise_gate.py" "$work/gate.model"
cmp "$work/gate.model" "$model"

# A project that asks for a part that doesn't exist.
mkdir "$work/project"
cat >"$work/project/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.16)
project(Component LANGUAGES NONE)
find_package(SorvaneEngine REQUIRED COMPONENTS Nonsense)
CMAKE
! cmake -S "$work/project" -B "$work/project/build" -DCMAKE_PREFIX_PATH="$prefix" \
    >"$work/log" 2>&1 || fail "a component that doesn't exist is found"
grep -q 'SorvaneEngine_FOUND to FALSE' "$work/log" || fail "$(cat "$work/log")"
runs=()
for built in "$work/examples/build" "$work/examples"; do
    for name in Engine Host; do
        used=$(ldd "$built/stream_wav" | grep -oP "libSorvane$name.* => \K\S+")
        [ "$(readlink -f "$used")" = "$libraries/libSorvane$name.so.$version" ] ||
            fail "an example runs with $used"
    done
    python3 "$source/tests/install/examples_test.py" "$prefix" "$built" &
    runs+=($!)
done
for run in "${runs[@]}"; do
    wait "$run"
done
