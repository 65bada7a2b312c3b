#pragma once

// Vectors of four floats on 64-bit Arm: products with sums, pairs, transpositions.

#include "support/vector/forms/lanes_scalar.h"

namespace {

using Four = xsimd::batch<float, xsimd::neon64>;

inline Four mulAdd(Four a, Four b, Four c) {
    return vfmaq_f32(c, a, b);
}
inline Four mulSub(Four a, Four b, Four c) {
    return vnegq_f32(vfmsq_f32(c, a, b));
}
inline Four negMulAdd(Four a, Four b, Four c) {
    return vfmsq_f32(c, a, b);
}

inline Four reversed(Four x) {
    const float32x4_t swapped = vrev64q_f32(x);
    return vextq_f32(swapped, swapped, 2);
}

/// Pairs (re, im) apart: the first pair in the first lane, or in the last one.
inline void loadPairs(const float* p, Complex<Four>& z) {
    const float32x4x2_t parts = vld2q_f32(p);
    z = {parts.val[0], parts.val[1]};
}
inline void loadPairsReversed(const float* p, Complex<Four>& z) {
    loadPairs(p, z);
    z = {reversed(z.re), reversed(z.im)};
}
inline void storePairs(float* p, Complex<Four> z) {
    vst2q_f32(p, float32x4x2_t{{z.re, z.im}});
}
inline void storePairsReversed(float* p, Complex<Four> z) {
    storePairs(p, {reversed(z.re), reversed(z.im)});
}

inline void transposeQuads(Four (&rows)[4]) {
    const float64x2_t a = vreinterpretq_f64_f32(vtrn1q_f32(rows[0], rows[1]));
    const float64x2_t b = vreinterpretq_f64_f32(vtrn2q_f32(rows[0], rows[1]));
    const float64x2_t c = vreinterpretq_f64_f32(vtrn1q_f32(rows[2], rows[3]));
    const float64x2_t d = vreinterpretq_f64_f32(vtrn2q_f32(rows[2], rows[3]));
    rows[0] = vreinterpretq_f32_f64(vtrn1q_f64(a, c));
    rows[1] = vreinterpretq_f32_f64(vtrn1q_f64(b, d));
    rows[2] = vreinterpretq_f32_f64(vtrn2q_f64(a, c));
    rows[3] = vreinterpretq_f32_f64(vtrn2q_f64(b, d));
}

} // namespace
