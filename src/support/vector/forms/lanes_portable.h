#pragma once

// Plain C++: a vector is one float.

#include "support/vector/forms/lanes_scalar.h"

namespace {

using F = float;
using I = std::int32_t;
using M = bool;
using D = double;
using Narrower = float;
inline constexpr bool fusesProducts = false;
inline constexpr int numRegisters = 16;

template <class V>
inline constexpr int lanesOf = 1;

template <class V>
inline V loadAt(const float* p) {
    return *p;
}

inline double loadDoubles(const double* p) {
    return *p;
}

inline float loadPartial(const float* p, std::ptrdiff_t) {
    return *p;
}
inline float loadZeroPadded(const float*, std::ptrdiff_t) {
    return 0.0f;
}

template <int>
inline float loadPiece(const float* p) {
    return *p;
}

inline void storePartial(float* p, float x, std::ptrdiff_t) {
    *p = x;
}

} // namespace
