#!/usr/bin/env bash
# usage: scripts/test-training.sh [PYTEST OPTION...]
# Installs what is missing, builds the engine's library, and runs all tests of the exporter, those with
# PyTorch among them: every kind of layer and whole networks in the engine against PyTorch.
set -euo pipefail
cd "$(dirname "$0")/.."

# OpenBLAS makes PyTorch's matrix products several times as fast as the plain BLAS that it comes with.
scripts/install_packages.sh alsa-utils cmake g++ ninja-build libxsimd-dev pkg-config \
    libopenblas0-pthread python3-numpy python3-pytest python3-scipy python3-soundfile python3-torch

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
build=build/training
mkdir -p build
cmake --preset release -B $build -DSORVANE_BUILD_TOOLS=OFF -DSORVANE_BUILD_PLUGINS=OFF \
    -DSORVANE_BUILD_TESTS=OFF >$build.log || { cat $build.log; exit 1; }
cmake --build $build -j "$jobs" --target SorvaneEngine -- --quiet
for library in $build/lib/libSorvaneEngine.so $build/lib/libSorvaneEngine.dylib; do
    [ -e "$library" ] && export SORVANE_LIBRARY=$PWD/$library
done

# A Python of one's own may stand before the system's and lack the packages.
for python in python3 /usr/bin/python3; do
    "$python" -c 'import numpy, pytest, torch' 2>/dev/null && break
done
PYTHONPATH=training exec "$python" -B -m pytest -q -p no:cacheprovider training/tests "$@"
