#!/usr/bin/env bash
# usage: scripts/test_consumers.sh
# Installs what is missing, and uses the committed state as other projects do: by FetchContent from a
# local clone, by add_subdirectory() as static libraries, and by find_package() and pkg-config from
# an installation of static libraries, in C alone. scripts/test_install.sh tries the shared ones.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_packages.sh cmake g++ git libxsimd-dev ninja-build pkg-config

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
export CMAKE_GENERATOR=Ninja
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN)
model=$PWD/models/noise-gate-48k.model
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# step COMMAND...: runs quietly, and shows what it wrote if that fails.
step() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}
fail() {
    echo "$*" >&2
    exit 1
}

# project NAME LANGUAGES: a project of a host, whose way to the libraries comes from standard input.
project() {
    mkdir -p "$work/$1"
    sed -n '/^```c file=myhost\/latency.c/,/^```$/p' docs/installing.md | grep -v '^```' >"$work/$1/latency.c"
    {
        echo "cmake_minimum_required(VERSION 3.16)"
        echo "project($1 LANGUAGES $2)"
        cat
        echo "add_executable(latency latency.c)"
        echo "target_link_libraries(latency PRIVATE SorvaneEngine::Host)"
    } >"$work/$1/CMakeLists.txt"
}

# try NAME OPTION...: builds the project and runs its host.
try() {
    step cmake -S "$work/$1" -B "$work/$1/build" "${@:2}"
    step cmake --build "$work/$1/build" -j "$jobs"
    runs "$work/$1/build/latency"
    echo "== $1: all well"
}
runs() {
    [ "$("$1" "$model")" = "latency: 1536 samples" ] || fail "$1 doesn't run"
}

project fetched C <<CMAKE
include(FetchContent)
FetchContent_Declare(SorvaneEngine GIT_REPOSITORY "file://$PWD" GIT_TAG $(git rev-parse HEAD))
FetchContent_MakeAvailable(SorvaneEngine)
CMAKE
try fetched
engine=$work/fetched/build/_deps/sorvaneengine-src

project folder C <<CMAKE
set(BUILD_SHARED_LIBS OFF)
add_subdirectory("$engine" engine)
CMAKE
try folder
! ldd "$work/folder/build/latency" | grep Sorvane || fail "the libraries aren't static"

step cmake -S "$engine" -B "$work/static" -DBUILD_SHARED_LIBS=OFF -DSORVANE_BUILD_TOOLS=OFF \
    -DSORVANE_BUILD_PLUGINS=OFF -DSORVANE_BUILD_TESTS=OFF
step cmake --build "$work/static" -j "$jobs"
step cmake --install "$work/static" --prefix "$work/prefix" --strip
project package C <<CMAKE
find_package(SorvaneEngine REQUIRED)
CMAKE
try package -DCMAKE_PREFIX_PATH="$work/prefix"
project mixed "C CXX" <<CMAKE
find_package(SorvaneEngine REQUIRED)
CMAKE
try mixed -DCMAKE_PREFIX_PATH="$work/prefix"

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name sorvane_host.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046 # flags are words
step cc -std=c99 -o "$work/host" "$work/package/latency.c" \
    $(pkg-config --cflags --libs --static sorvane_host)
runs "$work/host"
echo "== pkg-config: all well"
