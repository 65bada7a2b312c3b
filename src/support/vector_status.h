#pragma once

// How the engine turns the vector layer's statuses into exceptions.

#include "support/vector/ipps.h"

#include <cstdint>

namespace sorvane {

/// Raises std::runtime_error "IPP exception: " and the status text.
[[noreturn]] void throwStatus(IppStatus status);

/// Raises the exception of a negative status; a positive one is a warning and is ignored.
inline void check(IppStatus status) {
    if (status < 0)
        throwStatus(status);
}

/// Raises the size error unless `needed` elements are at most those `available`.
inline void requireSize(std::int64_t needed, std::int64_t available) {
    if (needed > available)
        throwStatus(ippStsSizeErr);
}

/// Raises the size error unless `condition` holds.
inline void requireShape(bool condition) {
    if (!condition)
        throwStatus(ippStsSizeErr);
}

} // namespace sorvane
