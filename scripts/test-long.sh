#!/usr/bin/env bash
# usage: scripts/test-long.sh
# What takes too long for scripts/test.sh: every byte of the tiny models set to all 256 values under the
# address sanitizer (ten minutes of one core), and ten minutes of each fuzzer.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
if [ -d /dev/shm ]; then
    export TMPDIR=/dev/shm # the changed files go to memory
fi
mkdir -p build

echo "== all values of all bytes"
cmake --preset asan -B build/asan-clang -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    >build/asan-clang.log || { cat build/asan-clang.log; exit 1; }
cmake --build build/asan-clang -j "$jobs" -- --quiet
SORVANE_LONG_TESTS=1 ctest --test-dir build/asan-clang -j "$jobs" --output-on-failure -R Mutation

echo "== fuzz"
scripts/fuzz.sh all 600
