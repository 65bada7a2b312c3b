#pragma once

// AVX2 with FMA: vectors of eight floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::fma3<xsimd::avx2>;
inline constexpr bool fusesProducts = true;
inline constexpr int numRegisters = 16;
} // namespace

#include "support/vector/lanes_xsimd.h"

namespace {

inline F mulAdd(F a, F b, F c) {
    return _mm256_fmadd_ps(a, b, c);
}
inline D mulAdd(D a, D b, D c) {
    return _mm256_fmadd_pd(a, b, c);
}
inline F negMulAdd(F a, F b, F c) {
    return _mm256_fnmadd_ps(a, b, c);
}

/// Splits pairs (re, im) into vectors. Their lanes come in the order that one shuffle within the
/// two halves gives, "natural", which joinPairs undoes; naturalOrder[i] is the pair in lane i.
inline Complex<F> splitPairs(F a, F b) {
    return {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)),
            _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
}

inline void joinPairs(Complex<F> z, F& a, F& b) {
    a = _mm256_unpacklo_ps(z.re, z.im);
    b = _mm256_unpackhi_ps(z.re, z.im);
}

inline constexpr int naturalOrder[8] = {0, 1, 4, 5, 2, 3, 6, 7};

inline F toLinear(F x) {
    return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(x), _MM_SHUFFLE(3, 1, 2, 0)));
}

inline F toNatural(F x) {
    return toLinear(x);
} // the order is its own inverse

inline F reversed(F x) {
    const __m256 halves = _mm256_permute2f128_ps(x, x, 1);
    return _mm256_permute_ps(halves, _MM_SHUFFLE(0, 1, 2, 3));
}

inline void transposeRows(F (&r)[8]) {
    __m256 a[8], b[8];
    for (int i = 0; i < 8; i += 2) {
        a[i] = _mm256_unpacklo_ps(r[i], r[i + 1]);
        a[i + 1] = _mm256_unpackhi_ps(r[i], r[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) {
        b[i] = _mm256_shuffle_ps(a[i], a[i + 2], _MM_SHUFFLE(1, 0, 1, 0));
        b[i + 1] = _mm256_shuffle_ps(a[i], a[i + 2], _MM_SHUFFLE(3, 2, 3, 2));
        b[i + 2] = _mm256_shuffle_ps(a[i + 1], a[i + 3], _MM_SHUFFLE(1, 0, 1, 0));
        b[i + 3] = _mm256_shuffle_ps(a[i + 1], a[i + 3], _MM_SHUFFLE(3, 2, 3, 2));
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2f128_ps(b[i], b[i + 4], 0x20);
        r[i + 4] = _mm256_permute2f128_ps(b[i], b[i + 4], 0x31);
    }
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
