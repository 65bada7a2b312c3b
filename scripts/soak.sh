#!/usr/bin/env bash
# usage: scripts/soak.sh [HOURS [HANDLES [LOADS]]]
# Runs the library for long: loads and unloads it (5000 times), makes and deletes handles (100000), and
# pushes HOURS of audio (24) at full speed through the deepest network of the tests. Fails when memory
# grows by more than 1 MB, a sample isn't finite, or a reset doesn't give the bits of the start again.
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build
cmake --preset release >build/soak.log || { cat build/soak.log; exit 1; }
cmake --build build/release --target sorvane_soak SorvaneEngine -- --quiet
exec nice -n 19 build/release/bin/sorvane_soak build/release/lib/libSorvaneEngine.so \
    "${1:-24}" "${2:-100000}" "${3:-5000}"
