#pragma once

// x86-64 as every such processor runs it: vectors of four floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::sse2;
inline constexpr bool fusesProducts = false;
inline constexpr int numRegisters = 16;
} // namespace

#include "support/vector/lanes_xsimd.h"

namespace {

inline F mulAdd(F a, F b, F c) {
    return a * b + c;
}
inline D mulAdd(D a, D b, D c) {
    return a * b + c;
}
inline F negMulAdd(F a, F b, F c) {
    return c - a * b;
}

/// Splits pairs (re, im) into vectors. Their lanes may come in an order of the instruction set's
/// own, "natural", which joinPairs undoes; naturalOrder[i] is the pair in lane i.
inline Complex<F> splitPairs(F a, F b) {
    return {_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)),
            _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
}

inline void joinPairs(Complex<F> z, F& a, F& b) {
    a = _mm_unpacklo_ps(z.re, z.im);
    b = _mm_unpackhi_ps(z.re, z.im);
}

inline constexpr int naturalOrder[4] = {0, 1, 2, 3};
inline F toLinear(F x) {
    return x;
}
inline F toNatural(F x) {
    return x;
}
inline F reversed(F x) {
    return _mm_shuffle_ps(x, x, _MM_SHUFFLE(0, 1, 2, 3));
}

inline void transposeRows(F (&rows)[4]) {
    const __m128 a = _mm_unpacklo_ps(rows[0], rows[1]);
    const __m128 b = _mm_unpackhi_ps(rows[0], rows[1]);
    const __m128 c = _mm_unpacklo_ps(rows[2], rows[3]);
    const __m128 d = _mm_unpackhi_ps(rows[2], rows[3]);
    rows[0] = _mm_movelh_ps(a, c);
    rows[1] = _mm_movehl_ps(c, a);
    rows[2] = _mm_movelh_ps(b, d);
    rows[3] = _mm_movehl_ps(d, b);
}

/// The first `count` (1 to 3) floats, the other lanes repeating the first one, so that they raise
/// no status of their own.
inline F loadPartial(const float* p, std::ptrdiff_t count) {
    return _mm_setr_ps(p[0], p[count > 1 ? 1 : 0], p[count > 2 ? 2 : 0], p[0]);
}

inline F loadZeroPadded(const float* p, std::ptrdiff_t count) {
    return _mm_setr_ps(count > 0 ? p[0] : 0.0f, count > 1 ? p[1] : 0.0f, count > 2 ? p[2] : 0.0f,
                       0.0f);
}

/// The first 2 or 1 floats, the other lanes being 0.
template <int Count>
inline F loadPiece(const float* p) {
    if constexpr (Count == 2)
        return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    else
        return _mm_load_ss(p);
}

template <int Count>
inline void storePiece(float* p, F x) {
    if constexpr (Count == 2)
        _mm_storel_pi(reinterpret_cast<__m64*>(p), x);
    else
        _mm_store_ss(p, x);
}

inline void storePartial(float* p, F x, std::ptrdiff_t count) {
    _mm_store_ss(p, x);
    if (count > 1)
        _mm_store_ss(p + 1, _mm_shuffle_ps(x, x, _MM_SHUFFLE(1, 1, 1, 1)));
    if (count > 2)
        _mm_store_ss(p + 2, _mm_movehl_ps(x, x));
}

} // namespace
