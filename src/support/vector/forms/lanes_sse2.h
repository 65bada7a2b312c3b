#pragma once

// x86-64 as every such processor runs it: vectors of four floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::sse2;
inline constexpr bool fusesProducts = false;
inline constexpr int numRegisters = 16;
} // namespace

#include "support/vector/forms/lanes_xsimd.h"
#include "support/vector/forms/vectors_sse.h"

namespace {

/// What transforms too short for F use.
using Narrower = float;

inline D mulAdd(D a, D b, D c) {
    return a * b + c;
}

inline M isBeyond(F x, F limit) {
    return _mm_cmpnle_ps(x, limit);
}
inline bool anyOf(M condition) {
    return _mm_movemask_ps(condition) != 0;
}
inline bool allNormal(F x) {
    const __m128i moved = _mm_add_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x7f800000));
    const __m128i normal = _mm_cmplt_epi32(moved, _mm_set1_epi32(-0x01000000));
    return _mm_movemask_ps(_mm_castsi128_ps(normal)) == 15;
}
inline F chooseBySign(I bits, F yes, F no) {
    const __m128 mask = _mm_castsi128_ps(_mm_srai_epi32(bits, 31));
    return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}

/// The products of two pairs (re, im) of `a` and of `b`.
inline F pairProducts(F a, F b) {
    const __m128 re = _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 2, 0, 0)), b);
    const __m128 im = _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 1, 1)),
                                 _mm_shuffle_ps(b, b, _MM_SHUFFLE(2, 3, 0, 1)));
    const __m128 evenSigns = _mm_setr_ps(-0.0f, 0.0f, -0.0f, 0.0f);
    return _mm_add_ps(re, _mm_xor_ps(im, evenSigns));
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
