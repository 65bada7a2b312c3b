#!/usr/bin/env bash
# usage: consumer.sh SOURCE
# Configures a project that has the engine as a folder, and looks at what it would build: the two
# libraries, optimised, and nothing else of the engine's.
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
    echo "$*" >&2
    exit 1
}

cat >"$work/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.16)
project(Consumer C CXX)
add_subdirectory("$source" engine)
add_executable(consumer main.c)
target_link_libraries(consumer PRIVATE SorvaneEngine::Host)
install(TARGETS consumer)
CMAKE
echo 'int main(void) { return 0; }' >"$work/main.c"
for generator in Ninja "Unix Makefiles"; do
    command -v ninja >/dev/null || [ "$generator" != Ninja ] || continue
    build=$work/$generator
    cmake -S "$work" -B "$build" -G "$generator" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$work/log" 2>&1 ||
        fail "$(cat "$work/log")"
    grep -q "built as Release" "$work/log" || fail "the type of the build isn't told"
    commands=$build/compile_commands.json
    grep -q 'host/model.cpp' "$commands" || fail "the host layer isn't built"
    ! grep -E "\"file\": \"$source/(tools|tests|plugins|bench|python|fuzz)/" "$commands" ||
        fail "more than the libraries is built"
    ! grep '"command": .*/host/model\.cpp' "$commands" | grep -v -e -O3 || fail "it isn't optimised"
    ! grep '"command": .*main\.c' "$commands" | grep -e -O3 || fail "the project's own type changed"
    ! grep -rh 'file(INSTALL' "$build" --include=cmake_install.cmake | grep -v /consumer ||
        fail "the engine installs something"
done
