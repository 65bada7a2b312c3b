#pragma once

// AVX2 with FMA: vectors of eight floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::fma3<xsimd::avx2>;
inline constexpr bool fusesProducts = true;
inline constexpr int numRegisters = 16;
} // namespace

#include "support/vector/forms/lanes_xsimd.h"
#include "support/vector/forms/vectors_avx2.h"

namespace {

/// What transforms too short for F use.
using Narrower = Four;

inline D mulAdd(D a, D b, D c) {
    return _mm256_fmadd_pd(a, b, c);
}

inline M isBeyond(F x, F limit) {
    return _mm256_cmp_ps(x, limit, _CMP_NLE_UQ);
}
inline bool anyOf(M condition) {
    return _mm256_movemask_ps(condition) != 0;
}
inline bool allNormal(F x) {
    const __m256i moved = _mm256_add_epi32(_mm256_castps_si256(x), _mm256_set1_epi32(0x7f800000));
    const __m256i normal = _mm256_cmpgt_epi32(_mm256_set1_epi32(-0x01000000), moved);
    return _mm256_movemask_ps(_mm256_castsi256_ps(normal)) == 255;
}
inline F chooseBySign(I bits, F yes, F no) {
    return _mm256_blendv_ps(no, yes, _mm256_castsi256_ps(bits));
}

/// The products of the pairs (re, im) of `a` and of `b`.
inline F pairProducts(F a, F b) {
    const __m256 im = _mm256_mul_ps(_mm256_movehdup_ps(a), _mm256_permute_ps(b, 0xb1));
    return _mm256_fmaddsub_ps(_mm256_moveldup_ps(a), b, im);
}

inline __m256i firstLanes(std::ptrdiff_t count) {
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(count)),
                              _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

inline F loadZeroPadded(const float* p, std::ptrdiff_t count) {
    return _mm256_maskload_ps(p, firstLanes(count));
}

/// The first `count` (1 to 7) floats, the other lanes repeating the first one, so that they raise
/// no status of their own.
inline F loadPartial(const float* p, std::ptrdiff_t count) {
    const __m256i mask = firstLanes(count);
    return _mm256_blendv_ps(_mm256_set1_ps(*p), _mm256_maskload_ps(p, mask),
                            _mm256_castsi256_ps(mask));
}

/// The first 4, 2 or 1 floats, the other lanes being 0.
template <int Count>
inline F loadPiece(const float* p) {
    if constexpr (Count == 4)
        return _mm256_zextps128_ps256(_mm_loadu_ps(p));
    else if constexpr (Count == 2)
        return _mm256_zextps128_ps256(
            _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
    else
        return _mm256_zextps128_ps256(_mm_load_ss(p));
}

template <int Count>
inline void storePiece(float* p, F x) {
    const __m128 low = _mm256_castps256_ps128(x);
    if constexpr (Count == 4)
        _mm_storeu_ps(p, low);
    else if constexpr (Count == 2)
        _mm_storel_pi(reinterpret_cast<__m64*>(p), low);
    else
        _mm_store_ss(p, low);
}

/// In pieces, since masked stores are slow on some processors.
inline void storePartial(float* p, F x, std::ptrdiff_t count) {
    if ((count & 4) != 0) {
        storePiece<4>(p, x);
        x = _mm256_permute2f128_ps(x, x, 1);
        p += 4;
    }
    if ((count & 2) != 0) {
        storePiece<2>(p, x);
        x = _mm256_permute_ps(x, _MM_SHUFFLE(3, 2, 3, 2));
        p += 2;
    }
    if ((count & 1) != 0)
        storePiece<1>(p, x);
}

} // namespace
