#include "sorvane_host.h"

#define SORVANE_TEXT(value) #value
#define SORVANE_VERSION_TEXT(major, minor, patch)                                                  \
    SORVANE_TEXT(major) "." SORVANE_TEXT(minor) "." SORVANE_TEXT(patch)

int sorvaneHostVersion(void) {
    return SORVANE_HOST_VERSION;
}

const char* sorvaneHostVersionText(void) {
    return SORVANE_VERSION_TEXT(SORVANE_HOST_VERSION_MAJOR, SORVANE_HOST_VERSION_MINOR,
                                SORVANE_HOST_VERSION_PATCH);
}

// As the engine chooses when it is loaded; it doesn't tell.
const char* sorvaneHostVectorForm(void) {
#if (defined(__x86_64__) || defined(_M_X64)) && defined(__GNUC__)
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma"))
        return "SSE2";
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512cd") &&
                   __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                   __builtin_cpu_supports("avx512vl")
               ? "AVX-512"
               : "AVX2";
#elif defined(__aarch64__)
    return "NEON";
#else
    return "portable";
#endif
}
