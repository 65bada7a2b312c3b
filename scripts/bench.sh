#!/usr/bin/env bash
# usage: scripts/bench.sh [MODEL...]
# Installs what is missing, builds, times the engine beside other ways to do the same, pinned to one
# core, and writes the table to docs/benchmarks.md and docs/benchmarks.json. Model files are run as
# whole networks beside the bench's own. SORVANE_BENCH_FLAGS goes to the program, for instance
# "--filter Chain --repetitions 5 --form SSE2".
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++ ninja-build pkg-config util-linux \
    libbenchmark-dev libcli11-dev libdnnl-dev libfftw3-dev libgtest-dev libsndfile1-dev \
    libsoxr-dev libxsimd-dev nlohmann-json3-dev

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
mkdir -p build docs
cmake --preset release -B build/bench -DSORVANE_BUILD_BENCHES=ON -DSORVANE_BUILD_PLUGINS=OFF \
    >build/bench.log || { cat build/bench.log; exit 1; }
cmake --build build/bench -j "$jobs" --target sorvane_bench -- --quiet

models=()
for model in models/*.model "$@"; do
    models+=(--model "$model")
done
pinned=()
if command -v taskset >/dev/null; then
    pinned=(taskset -c $((jobs - 1)))
fi
# shellcheck disable=SC2086 # flags are words
"${pinned[@]}" build/bench/bin/sorvane_bench "${models[@]}" \
    --markdown build/benchmarks.md --json build/benchmarks.json ${SORVANE_BENCH_FLAGS:-}
{
    echo "# Measured speed"
    echo
    echo "Made by \`scripts/bench.sh\`: one process on one core, the sides of each comparison in turns,"
    echo "medians of all repetitions and the quiet tenth of them. A ratio is our time over that of the"
    echo "fastest other side, or over real time. See [performance.md](performance.md) for what limits it."
    echo
    cat build/benchmarks.md
} >docs/benchmarks.md
cp build/benchmarks.json docs/
echo "Left in docs/: benchmarks.md, benchmarks.json"
