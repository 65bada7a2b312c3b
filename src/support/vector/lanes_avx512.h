#pragma once

// AVX-512 (F, DQ, BW and VL): vectors of sixteen floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::avx512bw;
inline constexpr bool fusesProducts = true;
inline constexpr int numRegisters = 32;
} // namespace

#include "support/vector/lanes_xsimd.h"

namespace {

inline F mulAdd(F a, F b, F c) {
    return _mm512_fmadd_ps(a, b, c);
}
inline D mulAdd(D a, D b, D c) {
    return _mm512_fmadd_pd(a, b, c);
}
inline F negMulAdd(F a, F b, F c) {
    return _mm512_fnmadd_ps(a, b, c);
}

/// Splits pairs (re, im) into vectors, in linear order: two-source permutations cross all lanes.
inline Complex<F> splitPairs(F a, F b) {
    const __m512i even =
        _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odd =
        _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    return {_mm512_permutex2var_ps(a, even, b), _mm512_permutex2var_ps(a, odd, b)};
}

inline void joinPairs(Complex<F> z, F& a, F& b) {
    const __m512i low = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    const __m512i high =
        _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    a = _mm512_permutex2var_ps(z.re, low, z.im);
    b = _mm512_permutex2var_ps(z.re, high, z.im);
}

inline constexpr int naturalOrder[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
inline F toLinear(F x) {
    return x;
}
inline F toNatural(F x) {
    return x;
}
inline F reversed(F x) {
    const __m512i order = _mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    return _mm512_permutexvar_ps(order, x);
}

inline void transposeRows(F (&r)[16]) {
    __m512 a[16], b[16];
    for (int i = 0; i < 16; i += 2) {
        a[i] = _mm512_unpacklo_ps(r[i], r[i + 1]);
        a[i + 1] = _mm512_unpackhi_ps(r[i], r[i + 1]);
    }
    // b[i + j] has column j, and those 4, 8 and 12 after it, of rows i to i + 3.
    for (int i = 0; i < 16; i += 4) {
        b[i] = _mm512_shuffle_ps(a[i], a[i + 2], _MM_SHUFFLE(1, 0, 1, 0));
        b[i + 1] = _mm512_shuffle_ps(a[i], a[i + 2], _MM_SHUFFLE(3, 2, 3, 2));
        b[i + 2] = _mm512_shuffle_ps(a[i + 1], a[i + 3], _MM_SHUFFLE(1, 0, 1, 0));
        b[i + 3] = _mm512_shuffle_ps(a[i + 1], a[i + 3], _MM_SHUFFLE(3, 2, 3, 2));
    }
    for (int j = 0; j < 4; ++j) {
        const __m512 evenTop = _mm512_shuffle_f32x4(b[j], b[j + 4], _MM_SHUFFLE(2, 0, 2, 0));
        const __m512 oddTop = _mm512_shuffle_f32x4(b[j], b[j + 4], _MM_SHUFFLE(3, 1, 3, 1));
        const __m512 evenLow = _mm512_shuffle_f32x4(b[j + 8], b[j + 12], _MM_SHUFFLE(2, 0, 2, 0));
        const __m512 oddLow = _mm512_shuffle_f32x4(b[j + 8], b[j + 12], _MM_SHUFFLE(3, 1, 3, 1));
        r[j] = _mm512_shuffle_f32x4(evenTop, evenLow, _MM_SHUFFLE(2, 0, 2, 0));
        r[j + 4] = _mm512_shuffle_f32x4(oddTop, oddLow, _MM_SHUFFLE(2, 0, 2, 0));
        r[j + 8] = _mm512_shuffle_f32x4(evenTop, evenLow, _MM_SHUFFLE(3, 1, 3, 1));
        r[j + 12] = _mm512_shuffle_f32x4(oddTop, oddLow, _MM_SHUFFLE(3, 1, 3, 1));
    }
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
