#!/usr/bin/env bash
# usage: scripts/coverage.sh
# Runs the tests with gcov and prints the lines that none of them reaches. Fails when fewer than 95 % of
# the library's lines are reached, or not all of the loader and the shape checks.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh gcovr
jobs=$(nproc)
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
mkdir -p build
cmake --preset coverage -DSORVANE_BUILD_TOOLS=OFF -DSORVANE_BUILD_PLUGINS=OFF \
    >build/coverage.log || { cat build/coverage.log; exit 1; }
cmake --build build/coverage -j "$jobs" -- --quiet
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage -j "$jobs" --output-on-failure >build/coverage-tests.log ||
    { cat build/coverage-tests.log; exit 1; }

report() {
    # Threads that count at the same time can leave a negative count of a branch.
    gcovr --root . --object-directory build/coverage --gcov-ignore-parse-errors "$@"
}
status=0
report --filter src/ --fail-under-line 95 || status=1
echo "== the loader and the shape checks: every line"
report --filter 'src/model/' --filter 'src/layers/' --filter 'src/audio/tensor' \
    --filter 'src/processor/(processor_setup|frame_exchange|spectral_chain)' \
    --filter 'src/support/(file_stream|platform_file)' \
    --fail-under-line 100 || status=1
exit $status
