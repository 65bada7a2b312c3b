#pragma once

// Operations on rows with the engine's calling convention: a length that isn't positive is skipped,
// and an error of the vector layer raises its exception.

#include "support/vector_status.h"

#include <cstdint>
#include <limits>

namespace sorvane {

/// A length of `count` units of `unit` bytes as the vector layer takes it. No block holds more
/// bytes than an int counts: a length past that belongs to memory that could not be had, which the
/// operation itself reports.
inline int vectorLength(std::int64_t count, int unit = 1) {
    const int most = std::numeric_limits<int>::max() / unit;
    return (count < most ? static_cast<int>(count) : most) * unit;
}

template <typename T>
void copyElements(const T* source, T* destination, std::int64_t count) {
    if (count > 0)
        check(ippsCopy_8u(reinterpret_cast<const Ipp8u*>(source),
                          reinterpret_cast<Ipp8u*>(destination),
                          vectorLength(count, static_cast<int>(sizeof(T)))));
}

inline void zeroElements(float* destination, std::int64_t count) {
    if (count > 0)
        check(ippsZero_32f(destination, vectorLength(count)));
}

/// destination += a * factor.
inline void addScaled(const float* a, float factor, float* destination, int count) {
    if (count > 0)
        check(ippsAddProductC_32f(a, factor, destination, count));
}

/// For code that writes a block without the vector layer: raises its null-pointer error for a block
/// that could not be had.
inline void requireMemory(const void* block) {
    if (!block)
        throwStatus(ippStsNullPtrErr);
}

} // namespace sorvane
