#!/usr/bin/env bash
# usage: scripts/test_arm.sh [GOOGLETEST-FLAG...]
# Installs what is missing, builds the library and its tests for 64-bit Arm with the cross compiler,
# and runs the tests in an emulator: once in each form of the vector layer. The host program and its
# tests are left out. Ends with the test runner's summaries; the exit code tells whether all went well.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++-aarch64-linux-gnu googletest libxsimd-dev ninja-build qemu-user

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc)
build=$PWD/build/arm
mkdir -p "$build"

# step LOG COMMAND...: runs quietly, and shows the log if that fails.
step() {
    local log=$build/$1.log
    shift
    "$@" >"$log" 2>&1 || { cat "$log"; exit 1; }
}
toolchain=$PWD/cmake/aarch64-linux-gnu.cmake
step googletest-configure cmake -G Ninja -S /usr/src/googletest -B "$build/googletest" \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$build/prefix"
step googletest-build cmake --build "$build/googletest" -j "$jobs" --target install
# xsimd's headers alone: the others beside them are this machine's.
mkdir -p "$build"/prefix/{include,lib/aarch64-linux-gnu/cmake}
cp -r /usr/include/xsimd "$build/prefix/include/"
cp -r /usr/lib/*-linux-gnu/cmake/xsimd "$build/prefix/lib/aarch64-linux-gnu/cmake/"
step configure cmake --preset release -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_PREFIX_PATH="$build/prefix" -DCMAKE_FIND_ROOT_PATH="$build/prefix" \
    -DSORVANE_BUILD_TOOLS=OFF -DSORVANE_WERROR=ON
cmake --build "$build" -j "$jobs" --target sorvane_tests SorvaneEngine -- --quiet

run=(qemu-aarch64 -L /usr/aarch64-linux-gnu "$build/bin/sorvane_tests" --gtest_brief=1)
echo "== NEON"
"${run[@]}" "$@"
echo "== portable" # what is chosen at load is no matter of a form
SORVANE_FORM=portable "${run[@]}" --gtest_filter=-VectorDispatch.* "$@"
