#!/usr/bin/env bash
# usage: scripts/test.sh [--all]
# Installs what is missing, builds, and runs all tests. With --all it first checks the formatting, and
# builds and tests under the sanitizers too, with both compilers and with warnings as errors, and fuzzes
# for a minute each.
# Names each stage as it begins, and ends with the test runner's summary; the exit code tells whether
# all went well.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake doxygen ffmpeg g++ git ladspa-sdk lilv-utils lv2-dev make ninja-build pkg-config sordi sox
    libcli11-dev libgtest-dev libsndfile1-dev libxsimd-dev nlohmann-json3-dev
    pybind11-dev python3-dev python3-matplotlib python3-numpy
    # what the Python package can use, and its tests of other machines
    mypy openssh-client openssh-server python3-aiohttp python3-distributed python3-fsspec python3-paramiko
    python3-requests python3-soundfile python3-tqdm)
strict=OFF
case "${1:-}" in
"") ;;
--all)
    strict=ON
    packages+=(clang clang-format libclang-rt-dev)
    ;;
*)
    sed -n '2,7s/^# //p' "$0" >&2
    exit 2
    ;;
esac
scripts/install_packages.sh "${packages[@]}"

jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi

# stage WHAT: tells what begins now, and how long it took the last time in this folder.
current=
stage() {
    [ -z "$current" ] || echo "$((SECONDS - began))" >"build/times/$current"
    current=${1// /-} began=$SECONDS
    local last
    last=$(cat "build/times/$current" 2>/dev/null) && last=" ($last s last time)"
    echo "== $(date +%H:%M:%S) $1$last"
}

# Ninja says what it builds, on one line of a terminal; a file gets nothing but what goes wrong.
quiet=(--quiet)
[ ! -t 1 ] || quiet=()

# run NAME PRESET [CMAKE OPTION...]: builds into build/NAME and runs the tests.
run() {
    local name=$1 preset=$2
    shift 2
    stage "$name build"
    cmake --preset "$preset" -B "build/$name" -DSORVANE_WERROR=$strict "$@" >"build/$name.log" ||
        { cat "build/$name.log"; return 1; }
    "${prefix[@]}" cmake --build "build/$name" -j "$jobs" -- "${quiet[@]}"
    stage "$name tests"
    "${prefix[@]}" ctest --test-dir "build/$name" -j "$jobs" --output-on-failure
}

prefix=(env)
mkdir -p build/times
if [ $strict = ON ]; then
    stage format
    git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format --dry-run --Werror

    run asan-clang asan -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++

    # The thread sanitizer's memory map and address randomisation don't always go together.
    if setarch "$(uname -m)" -R true 2>/dev/null; then
        prefix=(setarch "$(uname -m)" -R)
    fi
    run tsan tsan
    prefix=(env)

    stage fuzz
    scripts/fuzz.sh all 60 build/fuzz-corpus
fi
run release release -DSORVANE_BUILD_PYTHON=ON -DPython_EXECUTABLE=/usr/bin/python3
stage end
