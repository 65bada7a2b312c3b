#pragma once

// Vectors of sixteen floats, as vectors_sse.h has them of four.

#include "support/vector/forms/vectors_avx2.h"

namespace {

using Sixteen = xsimd::batch<float, xsimd::avx512bw>;

inline Sixteen mulAdd(Sixteen a, Sixteen b, Sixteen c) {
    return _mm512_fmadd_ps(a, b, c);
}
inline Sixteen mulSub(Sixteen a, Sixteen b, Sixteen c) {
    return _mm512_fmsub_ps(a, b, c);
}
inline Sixteen negMulAdd(Sixteen a, Sixteen b, Sixteen c) {
    return _mm512_fnmadd_ps(a, b, c);
}

inline Sixteen reversed(Sixteen x) {
    const __m512i order = _mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    return _mm512_permutexvar_ps(order, x);
}

inline void loadPairs(const float* p, Complex<Sixteen>& z) {
    const __m512i even =
        _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odd =
        _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    const __m512 a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
    z = {_mm512_permutex2var_ps(a, even, b), _mm512_permutex2var_ps(a, odd, b)};
}
inline void loadPairsReversed(const float* p, Complex<Sixteen>& z) {
    const __m512i even =
        _mm512_setr_epi32(30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0);
    const __m512i odd =
        _mm512_setr_epi32(31, 29, 27, 25, 23, 21, 19, 17, 15, 13, 11, 9, 7, 5, 3, 1);
    const __m512 a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
    z = {_mm512_permutex2var_ps(a, even, b), _mm512_permutex2var_ps(a, odd, b)};
}
inline void storePairs(float* p, Complex<Sixteen> z) {
    const __m512i low = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    const __m512i high =
        _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    _mm512_storeu_ps(p, _mm512_permutex2var_ps(z.re, low, z.im));
    _mm512_storeu_ps(p + 16, _mm512_permutex2var_ps(z.re, high, z.im));
}
inline void storePairsReversed(float* p, Complex<Sixteen> z) {
    const __m512i low =
        _mm512_setr_epi32(15, 31, 14, 30, 13, 29, 12, 28, 11, 27, 10, 26, 9, 25, 8, 24);
    const __m512i high = _mm512_setr_epi32(7, 23, 6, 22, 5, 21, 4, 20, 3, 19, 2, 18, 1, 17, 0, 16);
    _mm512_storeu_ps(p, _mm512_permutex2var_ps(z.re, low, z.im));
    _mm512_storeu_ps(p + 16, _mm512_permutex2var_ps(z.re, high, z.im));
}

inline void transposeQuads(Sixteen (&rows)[4]) {
    const __m512 a = _mm512_unpacklo_ps(rows[0], rows[1]);
    const __m512 b = _mm512_unpackhi_ps(rows[0], rows[1]);
    const __m512 c = _mm512_unpacklo_ps(rows[2], rows[3]);
    const __m512 d = _mm512_unpackhi_ps(rows[2], rows[3]);
    rows[0] = _mm512_shuffle_ps(a, c, _MM_SHUFFLE(1, 0, 1, 0));
    rows[1] = _mm512_shuffle_ps(a, c, _MM_SHUFFLE(3, 2, 3, 2));
    rows[2] = _mm512_shuffle_ps(b, d, _MM_SHUFFLE(1, 0, 1, 0));
    rows[3] = _mm512_shuffle_ps(b, d, _MM_SHUFFLE(3, 2, 3, 2));
}

inline void spreadQuads(Sixteen (&r)[4]) {
    const __m512 low0 = _mm512_shuffle_f32x4(r[0], r[1], _MM_SHUFFLE(1, 0, 1, 0));
    const __m512 high0 = _mm512_shuffle_f32x4(r[0], r[1], _MM_SHUFFLE(3, 2, 3, 2));
    const __m512 low1 = _mm512_shuffle_f32x4(r[2], r[3], _MM_SHUFFLE(1, 0, 1, 0));
    const __m512 high1 = _mm512_shuffle_f32x4(r[2], r[3], _MM_SHUFFLE(3, 2, 3, 2));
    r[0] = _mm512_shuffle_f32x4(low0, low1, _MM_SHUFFLE(2, 0, 2, 0));
    r[1] = _mm512_shuffle_f32x4(low0, low1, _MM_SHUFFLE(3, 1, 3, 1));
    r[2] = _mm512_shuffle_f32x4(high0, high1, _MM_SHUFFLE(2, 0, 2, 0));
    r[3] = _mm512_shuffle_f32x4(high0, high1, _MM_SHUFFLE(3, 1, 3, 1));
}
inline void collectQuads(Sixteen (&r)[4]) {
    spreadQuads(r); // a transposition
}

} // namespace
