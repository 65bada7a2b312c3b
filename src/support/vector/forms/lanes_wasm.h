#pragma once

// WebAssembly with 128-bit SIMD: vectors of four floats.

#include <cstddef>
#include <cstdint>

#include <wasm_simd128.h>

namespace {

using F = float __attribute__((ext_vector_type(4)));
using I = std::int32_t __attribute__((ext_vector_type(4)));
using M = I; // all bits of a lane set, or none
using D = double __attribute__((ext_vector_type(2)));

/// What transforms too short for F use.
using Narrower = float;

inline constexpr bool fusesProducts = false;
inline constexpr int numRegisters =
    16; // of the processors below, which compilers of modules map to

template <class V>
inline constexpr int lanesOf = static_cast<int>(sizeof(V) / sizeof(float));
template <>
inline constexpr int lanesOf<D> = 2;

} // namespace

#include "support/vector/forms/lanes_scalar.h"
#include "support/vector/forms/vectors_wasm.h"

namespace {

inline D mulAdd(D a, D b, D c) {
    return a * b + c;
}
inline F squareRoot(F x) {
    return wasm_f32x4_sqrt(x);
}
inline F quotient(F a, F b) {
    return a / b;
}
inline F choose(M condition, F yes, F no) {
    return wasm_v128_bitselect(yes, no, condition);
}
inline M isNan(F x) {
    return x != x;
}
inline M bothOf(M a, M b) {
    return a & b;
}
inline M eitherOf(M a, M b) {
    return a | b;
}
inline F atMost(F limit, F x) {
    return wasm_f32x4_pmin(x, limit);
}
inline F atLeast(F limit, F x) {
    return wasm_f32x4_pmax(x, limit);
}
inline I bitsOf(F x) {
    return reinterpret_cast<I>(x);
}
inline F fromBits(I bits) {
    return reinterpret_cast<F>(bits);
}
inline F toFloat(I i) {
    return wasm_f32x4_convert_i32x4(i);
}
inline M isBeyond(F x, F limit) {
    return ~(x <= limit);
}
inline bool anyOf(M condition) {
    return wasm_v128_any_true(condition);
}
inline bool allNormal(F x) {
    const I moved = bitsOf(x) - I(0x00800000);
    return wasm_i32x4_all_true(wasm_u32x4_lt(moved, wasm_i32x4_splat(0x7f000000)));
}
inline F chooseBySign(I bits, F yes, F no) {
    return choose(bits >> 31, yes, no);
}
inline float sumOf(F x) {
    return (x.x + x.y) + (x.z + x.w);
}
inline double sumOf(D x) {
    return x.x + x.y;
}

/// The products of two pairs (re, im) of `a` and of `b`.
inline F pairProducts(F a, F b) {
    const I evenSigns = {INT32_MIN, 0, INT32_MIN, 0};
    const F re = a.xxzz * b, im = a.yyww * b.yxwz;
    return re + fromBits(bitsOf(im) ^ evenSigns);
}

template <class V>
inline V loadAt(const float* p) {
    if constexpr (lanesOf < V >> 1)
        return wasm_v128_load(p);
    else
        return *p;
}
inline void storeAt(float* p, F x) {
    wasm_v128_store(p, x);
}
inline D loadDoubles(const double* p) {
    return wasm_v128_load(p);
}

/// The first `count` (1 to 3) floats, the other lanes repeating the first one, so that they raise
/// no status of their own.
inline F loadPartial(const float* p, std::ptrdiff_t count) {
    return F{p[0], p[count > 1 ? 1 : 0], p[count > 2 ? 2 : 0], p[0]};
}
inline F loadZeroPadded(const float* p, std::ptrdiff_t count) {
    return F{count > 0 ? p[0] : 0.0f, count > 1 ? p[1] : 0.0f, count > 2 ? p[2] : 0.0f, 0.0f};
}

/// The first 2 or 1 floats, the other lanes being 0.
template <int Count>
inline F loadPiece(const float* p) {
    return Count == 2 ? wasm_v128_load64_zero(p) : wasm_v128_load32_zero(p);
}

template <int Count>
inline void storePiece(float* p, F x) {
    if constexpr (Count == 2)
        wasm_v128_store64_lane(p, x, 0);
    else
        wasm_v128_store32_lane(p, x, 0);
}

inline void storePartial(float* p, F x, std::ptrdiff_t count) {
    p[0] = x.x;
    if (count > 1)
        p[1] = x.y;
    if (count > 2)
        p[2] = x.z;
}

} // namespace
