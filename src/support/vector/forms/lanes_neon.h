#pragma once

// 64-bit Arm as every such processor runs it: vectors of four floats.

#include <xsimd/xsimd.hpp>

namespace {
using Arch = xsimd::neon64;
inline constexpr bool fusesProducts = true;
inline constexpr int numRegisters = 32;
} // namespace

#include "support/vector/forms/lanes_xsimd.h"
#include "support/vector/forms/vectors_neon.h"

namespace {

/// What transforms too short for F use.
using Narrower = float;

inline D mulAdd(D a, D b, D c) {
    return vfmaq_f64(c, a, b);
}

// xsimd estimates these two.
inline F squareRoot(F x) {
    return vsqrtq_f32(x);
}
inline F quotient(F a, F b) {
    return vdivq_f32(a, b);
}

inline M isBeyond(F x, F limit) {
    return vmvnq_u32(vcleq_f32(x, limit));
}
inline bool anyOf(M condition) {
    return vmaxvq_u32(condition) != 0;
}
inline bool allNormal(F x) {
    const uint32x4_t moved = vsubq_u32(vreinterpretq_u32_f32(x), vdupq_n_u32(0x00800000));
    return vmaxvq_u32(moved) < 0x7f000000;
}
inline F chooseBySign(I bits, F yes, F no) {
    return vbslq_f32(vreinterpretq_u32_s32(vshrq_n_s32(bits, 31)), yes, no);
}

/// The products of two pairs (re, im) of `a` and of `b`.
inline F pairProducts(F a, F b) {
    const uint32x4_t evenSigns = vreinterpretq_u32_u64(vdupq_n_u64(0x80000000));
    const uint32x4_t im = veorq_u32(vreinterpretq_u32_f32(vtrn2q_f32(a, a)), evenSigns);
    return vfmaq_f32(vmulq_f32(vtrn1q_f32(a, a), b), vreinterpretq_f32_u32(im), vrev64q_f32(b));
}

/// The first `count` (1 to 3) floats, the other lanes repeating the first one, so that they raise
/// no status of their own.
inline F loadPartial(const float* p, std::ptrdiff_t count) {
    const float lanes[4] = {p[0], p[count > 1 ? 1 : 0], p[count > 2 ? 2 : 0], p[0]};
    return vld1q_f32(lanes);
}

inline F loadZeroPadded(const float* p, std::ptrdiff_t count) {
    const float lanes[4] = {count > 0 ? p[0] : 0.0f, count > 1 ? p[1] : 0.0f,
                            count > 2 ? p[2] : 0.0f, 0.0f};
    return vld1q_f32(lanes);
}

/// The first 2 or 1 floats, the other lanes being 0.
template <int Count>
inline F loadPiece(const float* p) {
    if constexpr (Count == 2)
        return vcombine_f32(vld1_f32(p), vdup_n_f32(0.0f));
    else
        return vld1q_lane_f32(p, vdupq_n_f32(0.0f), 0);
}

template <int Count>
inline void storePiece(float* p, F x) {
    if constexpr (Count == 2)
        vst1_f32(p, vget_low_f32(x));
    else
        vst1q_lane_f32(p, x, 0);
}

inline void storePartial(float* p, F x, std::ptrdiff_t count) {
    vst1q_lane_f32(p, x, 0);
    if (count > 1)
        vst1q_lane_f32(p + 1, x, 1);
    if (count > 2)
        vst1q_lane_f32(p + 2, x, 2);
}

} // namespace
