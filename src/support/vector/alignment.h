#pragma once

// Where the vector layer's own blocks begin.

#include "support/vector/ipps.h"

namespace sorvane::vector {

inline constexpr int alignment = 64;

/// The first aligned address from `p` on, at most alignment - 1 bytes away.
inline Ipp8u* alignedFrom(Ipp8u* p) {
    const auto past = reinterpret_cast<std::uintptr_t>(p) % alignment;
    return past == 0 ? p : p + (alignment - past);
}

} // namespace sorvane::vector
