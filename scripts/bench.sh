#!/usr/bin/env bash
# usage: scripts/bench.sh [MODEL...]
# Installs what is missing, builds, times the engine beside other ways to do the same, pinned to one
# core, and writes the table to docs/benchmarks.md and docs/benchmarks.json. Model files are run as
# whole networks beside the bench's own. It times AVX-512 and AVX2, of these what the machine has, or
# its best form where it has neither; SORVANE_BENCH_FORMS names others ("SSE2 portable").
# SORVANE_BENCH_FLAGS goes to the program, for instance "--filter Chain".
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

available=$(build/bench/bin/sorvane_bench --list-forms)
forms=${SORVANE_BENCH_FORMS:-$(grep -x -e AVX-512 -e AVX2 <<<"$available" || head -n 1 <<<"$available")}
{
    sed -n '/^# Measured/,/^for what/p' docs/benchmarks.md
    echo
} >build/benchmarks.md
for form in $forms; do
    # shellcheck disable=SC2086 # flags are words
    "${pinned[@]}" build/bench/bin/sorvane_bench "${models[@]}" --form "$form" --repetitions 9 \
        --markdown "build/$form.md" --json "build/$form.json" ${SORVANE_BENCH_FLAGS:-}
    { echo "## $form"; echo; sed 's/^## /### /' "build/$form.md"; echo; } >>build/benchmarks.md
done
sed -n '/^## WebAssembly/,$p' docs/benchmarks.md >>build/benchmarks.md # by scripts/bench_web.sh
cp build/benchmarks.md docs/
{
    separator='{'
    for form in $forms; do
        echo "$separator\"$form\":"
        cat "build/$form.json"
        separator=','
    done
    echo '}'
} >docs/benchmarks.json
echo "Left in docs/: benchmarks.md, benchmarks.json"
