#!/usr/bin/env bash
# usage: scripts/test_arm.sh [GOOGLETEST-FLAG...]
# Installs what is missing, builds the library and its tests for 64-bit Arm with the cross compiler,
# and runs the tests in an emulator: once in each form of the vector layer. Ends with the test
# runner's summaries; the exit code tells whether all went well.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake g++-aarch64-linux-gnu googletest libxsimd-dev ninja-build qemu-user
scripts/cross_build.sh aarch64-linux-gnu

tests=(qemu-aarch64 -L /usr/aarch64-linux-gnu build/aarch64-linux-gnu/bin/sorvane_tests --gtest_brief=1)
echo "== NEON"
"${tests[@]}" "$@"
echo "== portable" # what is chosen at load is no matter of a form
SORVANE_FORM=portable "${tests[@]}" --gtest_filter=-VectorDispatch.* "$@"
