#pragma once

// The operations on lanes that the kernels are written in, for the "vector" of one float. The
// portable form uses these alone; the others use them for transforms too short for their vectors.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace {

/// A complex number, or a vector of them with the real and imaginary parts apart.
template <class V>
struct Complex {
    V re, im;
};

inline float mulAdd(float a, float b, float c) {
#if defined(__FMA__)
    return __builtin_fmaf(a, b, c);
#else
    return a * b + c;
#endif
}

/// a * b - c.
inline float mulSub(float a, float b, float c) {
    return mulAdd(a, b, -c);
}

/// c - a * b.
inline float negMulAdd(float a, float b, float c) {
    return mulAdd(-a, b, c);
}

inline double mulAdd(double a, double b, double c) {
#if defined(__FMA__)
    return __builtin_fma(a, b, c);
#else
    return a * b + c;
#endif
}

inline float squareRoot(float x) {
    return sqrtf(x);
}
inline float quotient(float a, float b) {
    return a / b;
}
inline float choose(bool condition, float yes, float no) {
    return condition ? yes : no;
}
inline bool isNan(float x) {
    return std::isnan(x);
}
inline bool anyOf(bool condition) {
    return condition;
}
inline bool bothOf(bool a, bool b) {
    return a && b;
}
inline bool eitherOf(bool a, bool b) {
    return a || b;
}

/// The smaller, or the larger, of a limit and a value; a NaN value stays.
inline float atMost(float limit, float x) {
    return limit < x ? limit : x;
}
inline float atLeast(float limit, float x) {
    return limit > x ? limit : x;
}

inline std::int32_t bitsOf(float x) {
    std::int32_t bits = 0;
    std::memcpy(&bits, &x, sizeof x);
    return bits;
}

inline float fromBits(std::int32_t bits) {
    float x = 0;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}

/// Above the limit or NaN.
inline bool isBeyond(float x, float limit) {
    return !(x <= limit);
}
/// Whether all lanes are positive, normal and finite.
inline bool allNormal(float x) {
    const std::int32_t bits = bitsOf(x);
    return bits >= 0x00800000 && bits < 0x7f800000;
}
/// By the sign bit of `bits`.
inline float chooseBySign(std::int32_t bits, float yes, float no) {
    return bits < 0 ? yes : no;
}

inline float toFloat(std::int32_t i) {
    return static_cast<float>(i);
}

inline void storeAt(float* p, float x) {
    *p = x;
}
inline float sumOf(float x) {
    return x;
}
inline double sumOf(double x) {
    return x;
}

inline float reversed(float x) {
    return x;
}
inline void loadPairs(const float* p, Complex<float>& z) {
    z = {p[0], p[1]};
}
inline void loadPairsReversed(const float* p, Complex<float>& z) {
    loadPairs(p, z);
}
inline void storePairs(float* p, Complex<float> z) {
    p[0] = z.re;
    p[1] = z.im;
}
inline void storePairsReversed(float* p, Complex<float> z) {
    storePairs(p, z);
}

} // namespace
