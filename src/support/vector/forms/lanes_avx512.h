#pragma once

// AVX-512 (F, DQ, BW and VL): vectors of sixteen floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::avx512bw;
inline constexpr bool fusesProducts = true;
inline constexpr int numRegisters = 32;
} // namespace

#include "support/vector/forms/lanes_xsimd.h"
#include "support/vector/forms/vectors_avx512.h"

namespace {

/// What transforms too short for F use.
using Narrower = Eight;

inline D mulAdd(D a, D b, D c) {
    return _mm512_fmadd_pd(a, b, c);
}

inline M isBeyond(F x, F limit) {
    return _mm512_cmp_ps_mask(x, limit, _CMP_NLE_UQ);
}
inline bool anyOf(M condition) {
    return static_cast<__mmask16>(condition) != 0;
}
inline bool allNormal(F x) {
    const __m512i moved = _mm512_sub_epi32(_mm512_castps_si512(x), _mm512_set1_epi32(0x00800000));
    return _mm512_cmpge_epu32_mask(moved, _mm512_set1_epi32(0x7f000000)) == 0;
}
inline F chooseBySign(I bits, F yes, F no) {
    return _mm512_mask_blend_ps(_mm512_movepi32_mask(bits), no, yes);
}

/// The products of the pairs (re, im) of `a` and of `b`.
inline F pairProducts(F a, F b) {
    const __m512 im = _mm512_mul_ps(_mm512_movehdup_ps(a), _mm512_permute_ps(b, 0xb1));
    return _mm512_fmaddsub_ps(_mm512_moveldup_ps(a), b, im);
}

inline __mmask16 firstLanes(std::ptrdiff_t count) {
    return static_cast<__mmask16>((1U << count) - 1);
}

inline F loadZeroPadded(const float* p, std::ptrdiff_t count) {
    return _mm512_maskz_loadu_ps(firstLanes(count), p);
}

/// The first `count` (1 to 15) floats, the other lanes repeating the first one, so that they raise
/// no status of their own.
inline F loadPartial(const float* p, std::ptrdiff_t count) {
    return _mm512_mask_loadu_ps(_mm512_set1_ps(*p), firstLanes(count), p);
}

/// The first 8, 4, 2 or 1 floats, the other lanes being 0.
template <int Count>
inline F loadPiece(const float* p) {
    if constexpr (Count == 8)
        return _mm512_zextps256_ps512(_mm256_loadu_ps(p));
    else if constexpr (Count == 4)
        return _mm512_zextps128_ps512(_mm_loadu_ps(p));
    else if constexpr (Count == 2)
        return _mm512_zextps128_ps512(
            _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
    else
        return _mm512_zextps128_ps512(_mm_load_ss(p));
}

template <int Count>
inline void storePiece(float* p, F x) {
    const __m128 low = _mm512_castps512_ps128(x);
    if constexpr (Count == 8)
        _mm256_storeu_ps(p, _mm512_castps512_ps256(x));
    else if constexpr (Count == 4)
        _mm_storeu_ps(p, low);
    else if constexpr (Count == 2)
        _mm_storel_pi(reinterpret_cast<__m64*>(p), low);
    else
        _mm_store_ss(p, low);
}

inline void storePartial(float* p, F x, std::ptrdiff_t count) {
    _mm512_mask_storeu_ps(p, firstLanes(count), x);
}

} // namespace
