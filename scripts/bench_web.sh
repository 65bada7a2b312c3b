#!/usr/bin/env bash
# usage: scripts/bench_web.sh [MODEL...]
# Installs what is missing, builds the engine for WebAssembly and for this machine, and prints how
# many times faster than real time the models run (without arguments speech-48k and
# speech-small-48k): in Node in the form of WebAssembly and in the portable form, and as a program in
# AVX2 or SORVANE_NATIVE_FORM; the ratios of these speeds; and the size of the module. Everything on
# one core, in turns of three, of which the middle counts.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake emscripten g++ libxsimd-dev ninja-build nodejs util-linux
export NODE_PATH=/usr/share/nodejs # where emscripten's optimiser finds its parser
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
native=${SORVANE_NATIVE_FORM:-AVX2}
jobs=$(nproc)
mkdir -p build

# build FOLDER FLAG...: the program that times models.
build() {
    local folder=$1
    shift
    cmake --preset release -B "build/$folder" -DSORVANE_BUILD_TOOLS=OFF -DSORVANE_BUILD_PLUGINS=OFF \
        -DSORVANE_BUILD_TESTS=OFF -DSORVANE_BUILD_BENCHES=ON "$@" >"build/$folder.log" 2>&1 ||
        { cat "build/$folder.log"; exit 1; }
    cmake --build "build/$folder" -j "$jobs" --target model_speed -- --quiet
}
build native-speed
build wasm32-emscripten -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/wasm32-emscripten.cmake"
cmake --build build/wasm32-emscripten -j "$jobs" --target sorvane_module -- --quiet

models=("$@")
[ $# -gt 0 ] || models=(models/speech-48k.model models/speech-small-48k.model)
pinned=()
if command -v taskset >/dev/null; then
    pinned=(taskset -c "${SORVANE_BENCH_CORE:-0}")
fi
speeds=build/web-speeds.txt
: >"$speeds"
for _ in 1 2 3; do
    "${pinned[@]}" node --no-experimental-fetch build/wasm32-emscripten/bin/model_speed.js \
        WebAssembly,portable "${models[@]}" >>"$speeds"
    "${pinned[@]}" build/native-speed/bin/model_speed "$native" "${models[@]}" >>"$speeds"
done

# middle FORM MODEL
middle() {
    awk -v form="$1" -v model="$2" '$1 == form && $2 == model { print $3 }' "$speeds" |
        sort -g | sed -n 2p
}
echo "Node $(node --version), $(sed -n '/^model name/{s/.*: //p;q}' /proc/cpuinfo)"
printf '%-28s %12s %12s %12s %14s %10s\n' \
    "times real time" WebAssembly portable "$native" "over portable" "over $native"
for model in "${models[@]}"; do
    web=$(middle WebAssembly "$model") portable=$(middle portable "$model")
    program=$(middle "$native" "$model")
    awk -v name="$(basename "$model")" -v web="$web" -v portable="$portable" -v program="$program" \
        'BEGIN { printf "%-28s %12s %12s %12s %14.2f %10.2f\n", name, web, portable, program,
                        web / portable, web / program }'
done
module=build/wasm32-emscripten/bin/SorvaneEngine
printf 'module: %d bytes, %d by gzip -9; its loader: %d bytes\n' "$(wc -c <$module.wasm)" \
    "$(gzip -9 <$module.wasm | wc -c)" "$(wc -c <$module.js)"
