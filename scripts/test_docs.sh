#!/usr/bin/env bash
# usage: scripts/test_docs.sh [--all | BUILD]
# Checks the documents: links, names of files and functions, and every command block that is quick,
# with the program and library of BUILD, or of build/release, which it then builds first. With --all
# it goes on in a fresh clone with the blocks that build and test, as a new user would run them, and
# tells the seconds from the clone to what a new user wants, in the order of README.md; packages that
# are installed already take none of them.
# Ends with the counts; the exit code tells whether all went well.
set -euo pipefail
cd "$(dirname "$0")/.."

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
folder=$(mktemp -d)
clone=$(mktemp -d)
trap 'rm -rf "$folder" "$clone"' EXIT

# quick BUILD: runs the quick blocks where everything of the project is, and some audio.
quick() {
    local build=$1 base=$folder/base
    mkdir -p "$base/build"
    for name in cmake CMakeLists.txt CMakePresets.json docs host models scripts src tests; do
        ln -s "$PWD/$name" "$base/$name"
    done
    ln -s "$build" "$base/build/release"
    cp models/*.model "$base"
    (
        cd "$base"
        ffmpeg -v error -f lavfi -i 'anoisesrc=d=1:a=0.1:r=48000:s=1' -ac 1 talk.wav
        ffmpeg -v error -i talk.wav -ac 2 stereo.wav
        ffmpeg -v error -i talk.wav talk.mp3
        ffmpeg -v error -i talk.wav -f f32le noisy.f32
    )
    export PATH=$build/bin:$PATH
    export LADSPA_PATH=$build/lib/ladspa LV2_PATH=$build/lib/lv2:/usr/lib/lv2
    python3 tests/docs/documents.py run test "$base"
}

# total WHAT NAME...: the seconds that the clone and the blocks of these names took together.
total() {
    awk -v what="$1" -v names=" clone ${*:2} " -v count=$# '
        $1 == "passed:" && index(names, " " $3 " ") { sum += $(NF - 1); --count }
        END { printf "clone to %s: %.0f s\n", what, sum; exit count != 0 }' "$folder/log"
}

python3 tests/docs/documents.py check
python3 tests/docs/documents.py list
case "${1:-}" in
--all)
    export CCACHE_DISABLE=1 # a new user's cache is empty
    SECONDS=0
    git clone --quiet . "$clone"
    echo "passed: . clone $SECONDS s" >"$folder/log"
    cd "$clone"
    python3 tests/docs/documents.py run long "$PWD" | tee -a "$folder/log"
    quick "$PWD/build/release" | tee -a "$folder/log"
    total "cleaned voice" demo
    total "green tests" demo tests
    total "a C host" demo host
    ;;
"")
    scripts/install_packages.sh cmake ffmpeg g++ git ladspa-sdk libcli11-dev libgtest-dev \
        libsndfile1-dev libxsimd-dev lv2-dev ninja-build nlohmann-json3-dev pkg-config python3 sox
    mkdir -p build
    cmake --preset release >build/release.log || { cat build/release.log; exit 1; }
    cmake --build --preset release -j "$(nproc)" -- --quiet
    quick "$PWD/build/release"
    ;;
*)
    quick "$(cd "$1" && pwd)"
    ;;
esac
