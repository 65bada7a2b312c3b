#include "support/vector/dispatch.h"

#if defined(_MSC_VER) && defined(_M_X64)
#include <climits>
#include <intrin.h>
#endif

namespace sorvane::vector {

namespace {

#if defined(__x86_64__) || defined(_M_X64)
// Instruction sets, in the processor and with their registers kept by the operating system.
#if defined(_MSC_VER) && !defined(__clang__)
bool hasAll(int bits, int needed) {
    return (bits & needed) == needed;
}

/// FMA, the extended features' bits, and the registers of the state bits.
bool runsExtended(int features, unsigned long long state) {
    int info[4];
    __cpuid(info, 0);
    if (info[0] < 7)
        return false;
    __cpuid(info, 1);
    const int fma = 1 << 12, osxsave = 1 << 27, avx = 1 << 28;
    if (!hasAll(info[2], fma | osxsave | avx) || (_xgetbv(0) & state) != state)
        return false;
    __cpuidex(info, 7, 0);
    return hasAll(info[1], features);
}

bool runsAvx2() {
    return runsExtended(1 << 5, 0x6);
}

bool runsAvx512() {
    const int f = 1 << 16, dq = 1 << 17, cd = 1 << 28, bw = 1 << 30, vl = INT_MIN;
    return runsExtended((1 << 5) | f | dq | cd | bw | vl, 0xe6);
}
#else
bool runsAvx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

bool runsAvx512() {
    return runsAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512cd") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl");
}
#endif

constexpr const Kernels* baseline = &sse2Kernels;
#elif defined(__aarch64__)
constexpr const Kernels* baseline = &neonKernels;
#elif defined(__wasm__)
constexpr const Kernels* baseline = &wasmKernels;
#else
constexpr const Kernels* baseline = &portableKernels;
#endif

/// The last of availableForms; by itself, so that a module of WebAssembly holds no other form.
const Kernels& bestForm() {
#if defined(__x86_64__) || defined(_M_X64)
    if (runsAvx512())
        return avx512Kernels;
    if (runsAvx2())
        return avx2Kernels;
#endif
    return *baseline;
}

} // namespace

constinit std::atomic<const Kernels*> activeKernels{baseline};
constinit std::atomic<bool> usesFlatSequences{false};

int availableForms(const Kernels** forms, int capacity) {
    int count = 0;
    const auto add = [&](const Kernels& form) {
        if (count < capacity)
            forms[count] = &form;
        ++count;
    };
    add(portableKernels);
#if defined(__x86_64__) || defined(_M_X64)
    add(sse2Kernels);
    if (runsAvx2())
        add(avx2Kernels);
    if (runsAvx512())
        add(avx512Kernels);
#elif defined(__aarch64__)
    add(neonKernels);
#elif defined(__wasm__)
    add(wasmKernels);
#endif
    return count;
}

} // namespace sorvane::vector

IppStatus ippInit() {
    sorvane::vector::activeKernels.store(&sorvane::vector::bestForm(), std::memory_order_relaxed);
    return ippStsNoErr;
}
