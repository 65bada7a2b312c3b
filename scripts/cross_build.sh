#!/usr/bin/env bash
# usage: scripts/cross_build.sh TRIPLET
# Builds the library and its tests for another system with Debian's cross compiler, into
# build/TRIPLET, by the toolchain file cmake/TRIPLET.cmake. The host program and the plug-ins are
# left out. Called by the scripts that run these tests.
set -euo pipefail
cd "$(dirname "$0")/.."
triplet=$1

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc)
build=$PWD/build/$triplet
mkdir -p "$build"

# step LOG COMMAND...: runs quietly, and shows the log if that fails.
step() {
    local log=$build/$1.log
    shift
    "$@" >"$log" 2>&1 || { cat "$log"; exit 1; }
}
toolchain=$PWD/cmake/$triplet.cmake
step googletest-configure cmake -G Ninja -S /usr/src/googletest -B "$build/googletest" \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$build/prefix" \
    -DCMAKE_INSTALL_LIBDIR=lib
step googletest-build cmake --build "$build/googletest" -j "$jobs" --target install
# xsimd's headers alone: the others beside them are this machine's.
mkdir -p "$build"/prefix/{include,lib/xsimd/cmake}
cp -r /usr/include/xsimd "$build/prefix/include/"
cp -r /usr/lib/*-linux-gnu/cmake/xsimd "$build/prefix/lib/xsimd/cmake/"
step configure cmake --preset release -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_PREFIX_PATH="$build/prefix" -DCMAKE_FIND_ROOT_PATH="$build/prefix" \
    -Dxsimd_DIR="$build/prefix/lib/xsimd/cmake/xsimd" -DSORVANE_BUILD_TOOLS=OFF -DSORVANE_BUILD_PLUGINS=OFF -DSORVANE_WERROR=ON
cmake --build "$build" -j "$jobs" --target sorvane_tests SorvaneEngine -- --quiet
