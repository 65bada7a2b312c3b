#!/usr/bin/env bash
# usage: scripts/test-long.sh [STEP...]
# What takes too long for scripts/test.sh, some hours in all; docs/testing.md tells what each step does:
# mutation fuzz soak program docs checkout consumers packages wheel pipewire arm web windows training
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
mkdir -p build

mutation() {
    cmake --preset asan -B build/asan-clang -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        >build/asan-clang.log || { cat build/asan-clang.log; exit 1; }
    cmake --build build/asan-clang -j "$jobs" -- --quiet
    local memory=${TMPDIR:-/tmp}
    [ ! -d /dev/shm ] || memory=/dev/shm # for the changed files
    TMPDIR=$memory SORVANE_LONG_TESTS=1 \
        ctest --test-dir build/asan-clang -j "$jobs" --output-on-failure -R Mutation
}
fuzz() { scripts/fuzz.sh all 600; }
soak() { scripts/soak.sh; }
program() { scripts/long_run.sh; }
docs() { scripts/test_docs.sh --all; }
checkout() { scripts/test_install.sh; }
consumers() { scripts/test_consumers.sh; }
packages() { scripts/test_packages.sh; }
wheel() { scripts/test_wheel.sh; }
pipewire() { scripts/test_pipewire.sh; }
arm() { scripts/test_arm.sh; }
web() { scripts/test_web.sh; }
windows() { scripts/test_windows.sh; }
training() { scripts/test-training.sh; }

steps=(mutation fuzz soak program docs checkout consumers packages wheel pipewire arm web windows training)
[ $# -eq 0 ] || steps=("$@")
for step in "${steps[@]}"; do
    [ "$(type -t "$step")" = function ] || { echo "no step $step" >&2; exit 2; }
    echo "== $step"
    "$step"
done
