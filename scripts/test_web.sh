#!/usr/bin/env bash
# usage: scripts/test_web.sh [GOOGLETEST-FLAG...]
# Installs what is missing, builds the library and the tests that depend on the form of the vector
# layer as a module of WebAssembly, and runs them in Node: once in each form. Ends with the test
# runner's summaries; the exit code tells whether all went well.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh cmake emscripten googletest libxsimd-dev ninja-build nodejs
export NODE_PATH=/usr/share/nodejs # where emscripten's optimiser finds its parser
scripts/cross_build.sh wasm32-emscripten

# WebAssembly has no state of floating point to set, and its files are Node's, which hide what kind they are.
without=VectorDispatch.TheLoadHookHasRunOnThisThread:FileStream.LoadersTakeRegularFilesAlone
tests=(node --no-experimental-fetch build/wasm32-emscripten/bin/sorvane_tests.js --gtest_brief=1
    "--gtest_filter=-$without")
for form in WebAssembly portable; do
    echo "== $form"
    SORVANE_FORM=$form "${tests[@]}" "$@"
done
