#pragma once

// Vectors of four floats of WebAssembly: products with sums, pairs, transpositions.

#include "support/vector/forms/lanes_scalar.h"

namespace {

inline F mulAdd(F a, F b, F c) {
    return a * b + c;
}
inline F mulSub(F a, F b, F c) {
    return a * b - c;
}
inline F negMulAdd(F a, F b, F c) {
    return c - a * b;
}

inline F reversed(F x) {
    return x.wzyx;
}

/// Pairs (re, im) apart: the first pair in the first lane, or in the last one.
inline void loadPairs(const float* p, Complex<F>& z) {
    const v128_t a = wasm_v128_load(p), b = wasm_v128_load(p + 4);
    z = {wasm_i32x4_shuffle(a, b, 0, 2, 4, 6), wasm_i32x4_shuffle(a, b, 1, 3, 5, 7)};
}
inline void loadPairsReversed(const float* p, Complex<F>& z) {
    const v128_t a = wasm_v128_load(p), b = wasm_v128_load(p + 4);
    z = {wasm_i32x4_shuffle(a, b, 6, 4, 2, 0), wasm_i32x4_shuffle(a, b, 7, 5, 3, 1)};
}
inline void storePairs(float* p, Complex<F> z) {
    wasm_v128_store(p, wasm_i32x4_shuffle(z.re, z.im, 0, 4, 1, 5));
    wasm_v128_store(p + 4, wasm_i32x4_shuffle(z.re, z.im, 2, 6, 3, 7));
}
inline void storePairsReversed(float* p, Complex<F> z) {
    wasm_v128_store(p, wasm_i32x4_shuffle(z.re, z.im, 3, 7, 2, 6));
    wasm_v128_store(p + 4, wasm_i32x4_shuffle(z.re, z.im, 1, 5, 0, 4));
}

/// Transposes four by four floats.
inline void transposeQuads(F (&rows)[4]) {
    const v128_t a = wasm_i32x4_shuffle(rows[0], rows[1], 0, 4, 1, 5);
    const v128_t b = wasm_i32x4_shuffle(rows[0], rows[1], 2, 6, 3, 7);
    const v128_t c = wasm_i32x4_shuffle(rows[2], rows[3], 0, 4, 1, 5);
    const v128_t d = wasm_i32x4_shuffle(rows[2], rows[3], 2, 6, 3, 7);
    rows[0] = wasm_i64x2_shuffle(a, c, 0, 2);
    rows[1] = wasm_i64x2_shuffle(a, c, 1, 3);
    rows[2] = wasm_i64x2_shuffle(b, d, 0, 2);
    rows[3] = wasm_i64x2_shuffle(b, d, 1, 3);
}

} // namespace
