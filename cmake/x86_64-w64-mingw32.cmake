# Builds for 64-bit Windows on another system, with Debian's cross compiler, and runs programs under
# wine. The compiler's runtimes go into the binaries.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# This system aligns the stack to 16 bytes, and the compiler doesn't align wider vectors that it
# spills: the assembler has to take the moves that need no alignment.
string(APPEND CMAKE_C_FLAGS_INIT " -Wa,-muse-unaligned-vector-move")
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wa,-muse-unaligned-vector-move")
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -static")
string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -static")
