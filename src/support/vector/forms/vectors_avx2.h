#pragma once

// Vectors of eight floats, as vectors_sse.h has them of four.

#include "support/vector/forms/vectors_sse.h"

namespace {

using Eight = xsimd::batch<float, xsimd::fma3<xsimd::avx2>>;

inline Eight mulAdd(Eight a, Eight b, Eight c) {
    return _mm256_fmadd_ps(a, b, c);
}
inline Eight mulSub(Eight a, Eight b, Eight c) {
    return _mm256_fmsub_ps(a, b, c);
}
inline Eight negMulAdd(Eight a, Eight b, Eight c) {
    return _mm256_fnmadd_ps(a, b, c);
}

inline Eight reversed(Eight x) {
    return _mm256_permutevar8x32_ps(x, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
}

/// Two quarters of a row in one vector: `low` and `high` count floats.
inline __m256 loadQuarters(const float* p, int low, int high) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + low)),
                                _mm_loadu_ps(p + high), 1);
}

inline void loadPairs(const float* p, Complex<Eight>& z) {
    const __m256 a = loadQuarters(p, 0, 8), b = loadQuarters(p, 4, 12);
    z = {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)),
         _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
}
inline void loadPairsReversed(const float* p, Complex<Eight>& z) {
    const __m256 a = loadQuarters(p, 12, 4), b = loadQuarters(p, 8, 0);
    z = {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(0, 2, 0, 2)),
         _mm256_shuffle_ps(a, b, _MM_SHUFFLE(1, 3, 1, 3))};
}
inline void storePairs(float* p, Complex<Eight> z) {
    const __m256 a = _mm256_unpacklo_ps(z.re, z.im), b = _mm256_unpackhi_ps(z.re, z.im);
    _mm256_storeu_ps(p, _mm256_permute2f128_ps(a, b, 0x20));
    _mm256_storeu_ps(p + 8, _mm256_permute2f128_ps(a, b, 0x31));
}
inline void storePairsReversed(float* p, Complex<Eight> z) {
    const __m256d a = _mm256_castps_pd(_mm256_unpacklo_ps(z.re, z.im));
    const __m256d b = _mm256_castps_pd(_mm256_unpackhi_ps(z.re, z.im));
    const __m256d high = _mm256_permute_pd(_mm256_permute2f128_pd(a, b, 0x13), 5);
    const __m256d low = _mm256_permute_pd(_mm256_permute2f128_pd(a, b, 0x02), 5);
    _mm256_storeu_ps(p, _mm256_castpd_ps(high));
    _mm256_storeu_ps(p + 8, _mm256_castpd_ps(low));
}

inline void transposeQuads(Eight (&rows)[4]) {
    const __m256 a = _mm256_unpacklo_ps(rows[0], rows[1]);
    const __m256 b = _mm256_unpackhi_ps(rows[0], rows[1]);
    const __m256 c = _mm256_unpacklo_ps(rows[2], rows[3]);
    const __m256 d = _mm256_unpackhi_ps(rows[2], rows[3]);
    rows[0] = _mm256_shuffle_ps(a, c, _MM_SHUFFLE(1, 0, 1, 0));
    rows[1] = _mm256_shuffle_ps(a, c, _MM_SHUFFLE(3, 2, 3, 2));
    rows[2] = _mm256_shuffle_ps(b, d, _MM_SHUFFLE(1, 0, 1, 0));
    rows[3] = _mm256_shuffle_ps(b, d, _MM_SHUFFLE(3, 2, 3, 2));
}

/// Vector k, quad b becomes quad number k + 4 b of the four vectors in a row; collectQuads undoes
/// it.
inline void spreadQuads(Eight (&r)[4]) {
    const Eight low0 = _mm256_permute2f128_ps(r[0], r[1], 0x20);
    const Eight high0 = _mm256_permute2f128_ps(r[0], r[1], 0x31);
    const Eight low1 = _mm256_permute2f128_ps(r[2], r[3], 0x20);
    const Eight high1 = _mm256_permute2f128_ps(r[2], r[3], 0x31);
    r[0] = low0;
    r[1] = low1;
    r[2] = high0;
    r[3] = high1;
}
inline void collectQuads(Eight (&r)[4]) {
    const Eight row0 = _mm256_permute2f128_ps(r[0], r[2], 0x20);
    const Eight row1 = _mm256_permute2f128_ps(r[0], r[2], 0x31);
    const Eight row2 = _mm256_permute2f128_ps(r[1], r[3], 0x20);
    const Eight row3 = _mm256_permute2f128_ps(r[1], r[3], 0x31);
    r[0] = row0;
    r[1] = row1;
    r[2] = row2;
    r[3] = row3;
}

} // namespace
