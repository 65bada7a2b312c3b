#!/usr/bin/env bash
# usage: scripts/bench.sh [MODEL...]
# Installs what is missing, builds, times the engine beside other ways to do the same, pinned to one
# core, and writes the table to docs/benchmarks.md and docs/benchmarks.json. Model files are run as
# whole networks beside the bench's own. SORVANE_BENCH_FORMS names the forms of the vector layer to
# time ("AVX-512 AVX2"); SORVANE_BENCH_FLAGS goes to the program, for instance "--filter Chain".
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

# The forms to compare, the machine's best first; one that it lacks ends the run.
forms=${SORVANE_BENCH_FORMS:-AVX-512 AVX2}
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
