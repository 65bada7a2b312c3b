// The floating-point control state of the calling thread.

#include "support/vector/ipps.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

namespace {

#if defined(__x86_64__) || defined(_M_X64)
constexpr unsigned int denormalsAreZeros = 1U << 6;
constexpr unsigned int underflowMasked = 1U << 11;
constexpr unsigned int flushToZero = 1U << 15;

void setBits(unsigned int bits, bool on) {
    const unsigned int state = _mm_getcsr();
    _mm_setcsr(on ? state | bits : state & ~bits);
}
#elif defined(__aarch64__) && defined(__GNUC__)
// One bit flushes both inputs and results.
void setFlush(bool on) {
    std::uint64_t state = 0;
    __asm__ __volatile__("mrs %0, fpcr" : "=r"(state));
    const std::uint64_t flush = std::uint64_t{1} << 24;
    state = on ? state | flush : state & ~flush;
    __asm__ __volatile__("msr fpcr, %0" : : "r"(state));
}
#endif

} // namespace

IppStatus ippSetFlushToZero(int value, unsigned int* underflowMask) {
    unsigned int masked = 1;
#if defined(__x86_64__) || defined(_M_X64)
    masked = (_mm_getcsr() & underflowMasked) != 0 ? 1 : 0;
    // Flushing works only while the exception is masked.
    setBits(underflowMasked, true);
    setBits(flushToZero, value != 0);
#elif defined(__aarch64__) && defined(__GNUC__)
    setFlush(value != 0);
#else
    static_cast<void>(value);
#endif
    if (underflowMask != nullptr)
        *underflowMask = masked;
    return ippStsNoErr;
}

IppStatus ippSetDenormAreZeros(int value) {
#if defined(__x86_64__) || defined(_M_X64)
    setBits(denormalsAreZeros, value != 0);
#elif defined(__aarch64__) && defined(__GNUC__)
    setFlush(value != 0);
#else
    static_cast<void>(value);
#endif
    return ippStsNoErr;
}
