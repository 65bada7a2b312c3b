#include "support/vector/dispatch.h"

#if defined(_MSC_VER) && defined(_M_X64)
#include <intrin.h>
#endif

namespace sorvane::vector {

namespace {

#if defined(__x86_64__) || defined(_M_X64)
/// AVX2 and FMA, in the processor and kept by the operating system.
bool runsAvx2() {
#if defined(_MSC_VER) && !defined(__clang__)
    int info[4];
    __cpuid(info, 0);
    if (info[0] < 7)
        return false;
    __cpuid(info, 1);
    const int fma = 1 << 12, osxsave = 1 << 27, avx = 1 << 28;
    const int needed = fma | osxsave | avx;
    if ((info[2] & needed) != needed || (_xgetbv(0) & 6) != 6)
        return false;
    __cpuidex(info, 7, 0);
    return (info[1] & (1 << 5)) != 0;
#else
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#endif
}

constexpr const Kernels* baseline = &sse2Kernels;
#else
constexpr const Kernels* baseline = &portableKernels;
#endif

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
#endif
    return count;
}

} // namespace sorvane::vector

IppStatus ippInit() {
    using namespace sorvane::vector;
    const Kernels* forms[8];
    const int count = availableForms(forms, 8);
    activeKernels.store(forms[count - 1], std::memory_order_relaxed);
    return ippStsNoErr;
}
