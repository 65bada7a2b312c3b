#pragma once

// Vectors of four floats on x86-64: products with sums, pairs, transpositions. The wider forms use
// them for short transforms, with their fused instructions.

#include "support/vector/forms/lanes_scalar.h"

namespace {

using Four = xsimd::batch<float, xsimd::sse2>;

inline Four mulAdd(Four a, Four b, Four c) {
#if defined(__FMA__) || defined(__AVX2__)
    return _mm_fmadd_ps(a, b, c);
#else
    return a * b + c;
#endif
}
inline Four mulSub(Four a, Four b, Four c) {
#if defined(__FMA__) || defined(__AVX2__)
    return _mm_fmsub_ps(a, b, c);
#else
    return a * b - c;
#endif
}
inline Four negMulAdd(Four a, Four b, Four c) {
#if defined(__FMA__) || defined(__AVX2__)
    return _mm_fnmadd_ps(a, b, c);
#else
    return c - a * b;
#endif
}

inline Four reversed(Four x) {
    return _mm_shuffle_ps(x, x, _MM_SHUFFLE(0, 1, 2, 3));
}

/// Pairs (re, im) apart: the first pair in the first lane, or in the last one.
inline void loadPairs(const float* p, Complex<Four>& z) {
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    z = {_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)),
         _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
}
inline void loadPairsReversed(const float* p, Complex<Four>& z) {
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    z = {_mm_shuffle_ps(b, a, _MM_SHUFFLE(0, 2, 0, 2)),
         _mm_shuffle_ps(b, a, _MM_SHUFFLE(1, 3, 1, 3))};
}
inline void storePairs(float* p, Complex<Four> z) {
    _mm_storeu_ps(p, _mm_unpacklo_ps(z.re, z.im));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(z.re, z.im));
}
inline void storePairsReversed(float* p, Complex<Four> z) {
    storePairs(p, {reversed(z.re), reversed(z.im)});
}

/// Transposes the four by four floats that each quarter of a wide vector holds.
inline void transposeQuads(Four (&rows)[4]) {
    const __m128 a = _mm_unpacklo_ps(rows[0], rows[1]), b = _mm_unpackhi_ps(rows[0], rows[1]);
    const __m128 c = _mm_unpacklo_ps(rows[2], rows[3]), d = _mm_unpackhi_ps(rows[2], rows[3]);
    rows[0] = _mm_movelh_ps(a, c);
    rows[1] = _mm_movehl_ps(c, a);
    rows[2] = _mm_movelh_ps(b, d);
    rows[3] = _mm_movehl_ps(d, b);
}

} // namespace
