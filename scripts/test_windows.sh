#!/usr/bin/env bash
# usage: scripts/test_windows.sh [GOOGLETEST-FLAG...]
# Installs what is missing, builds the library as a DLL for 64-bit Windows and its tests with the
# cross compiler, compares its exports with the header, and runs the tests under wine. Ends with the
# test runner's summary; the exit code tells whether all went well.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh binutils cmake g++-mingw-w64-x86-64-posix googletest libxsimd-dev \
    ninja-build wine wine64
build=build/x86_64-w64-mingw32
export WINEDEBUG=-all WINEPREFIX=$PWD/$build/wine # the build lists the tests, and so runs them
mkdir -p "$build"
scripts/cross_build.sh x86_64-w64-mingw32

echo "== exports"
tests/engine/check_exports.sh x86_64-w64-mingw32-objdump "$build/bin/libSorvaneEngine.dll" \
    src/engine/sorvane_engine.h

echo "== tests"
# Each change of a tiny file costs a file, and files are slow there.
wine "$build/bin/sorvane_tests.exe" --gtest_brief=1 --gtest_filter='-*Mutation*' "$@"
