# Builds for WebAssembly with Debian's emscripten; programs run in Node. The loader that emscripten
# 3.1 writes takes Node's fetch for a browser's.
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
set(BUILD_SHARED_LIBS OFF)
set(CMAKE_CROSSCOMPILING_EMULATOR node --no-experimental-fetch)
# A module is fetched over a network: all but the vector layer, which sets its own level, is small
# first.
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-Oz -DNDEBUG" CACHE STRING "")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-Oz -DNDEBUG" CACHE STRING "")
set(CMAKE_CXX_FLAGS_INIT -fwasm-exceptions)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fwasm-exceptions -sALLOW_MEMORY_GROWTH")
