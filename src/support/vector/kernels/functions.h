#pragma once

// Exponential, logarithm, sine and cosine, arc tangent, magnitude. The polynomials are minimax fits
// of the relative error over the reduced range, their coefficients rounded to float one by one.

namespace {

inline F absolute(F x) {
    return fromBits(bitsOf(x) & I(0x7fffffff));
}
inline I signBitOf(F x) {
    return bitsOf(x) & I(INT32_MIN);
}
inline F withSignFlipped(F x, I signBit) {
    return fromBits(bitsOf(x) ^ signBit);
}

/// Adding this number rounds a small float to an integer, which is left in the low bits.
inline constexpr float roundingShift = 12582912.0f; // 1.5 * 2^23

inline I roundedBits(F shifted) {
    return bitsOf(shifted) - I(0x4b400000);
}

/// exp(r), |r| <= ln(2) / 2.
inline F expSeries(F r) {
    F p = mulAdd(F(0.00138387561f), r, F(0.00836919062f));
    p = mulAdd(p, r, F(0.0416681021f));
    p = mulAdd(p, r, F(0.166665167f));
    p = mulAdd(p, r, F(0.49999994f));
    return mulAdd(p, r * r, r) + F(1.0f);
}

/// p 2^n in two steps, so that results run over into infinity and under into denormals by
/// themselves.
inline F scaledByPower(F p, I n) {
    const I half = n >> 1;
    const F scale1 = fromBits((half + I(127)) << 23);
    const F scale2 = fromBits((n - half + I(127)) << 23);
    return p * scale1 * scale2;
}

/// exp(x) = 2^n exp(r), |r| <= ln(2) / 2: returns exp(r), and n in the low bits of `shifted`.
inline F expOfRest(F x, F& shifted) {
    shifted = mulAdd(x, F(1.44269504f), F(roundingShift));
    const F n = shifted - F(roundingShift);
    F r = negMulAdd(n, F(0.693359375f), x); // ln(2) in two parts, the first exact for all n
    r = negMulAdd(n, F(-2.12194440e-4f), r);
    return expSeries(r);
}

/// For any argument.
inline F expOfAny(F x) {
    F shifted;
    const F p = expOfRest(atLeast(F(-105.0f), atMost(F(90.0f), x)), shifted);
    return scaledByPower(p, roundedBits(shifted));
}

inline F expOf(F x) {
    if (anyOf(isBeyond(absolute(x), F(87.0f)))) [[unlikely]]
        return expOfAny(x);
    F shifted;
    const F p = expOfRest(x, shifted);
    return fromBits(bitsOf(p) + (bitsOf(shifted) << 23));
}

/// p in ln(1 + f) = f - f^2 / 2 + f^3 p, for 1 + f from sqrt(1/2) to sqrt(2).
inline F lnSeries(F f) {
    const F square = f * f;
    F even = mulAdd(F(0.0534224287f), square, F(0.121078141f));
    F odd = mulAdd(F(-0.109187193f), square, F(-0.125492394f));
    even = mulAdd(even, square, F(0.14209637f));
    odd = mulAdd(odd, square, F(-0.16659373f));
    even = mulAdd(even, square, F(0.200022221f));
    odd = mulAdd(odd, square, F(-0.250001669f));
    even = mulAdd(even, square, F(0.333333135f));
    return mulAdd(odd, f, even);
}

/// ln(m 2^e) = ln(1 + f) + e ln(2), f = m - 1, m from sqrt(1/2) to sqrt(2), for normal positive
/// m 2^(e - bias).
inline F lnOfNormal(F x, F bias) {
    const I sqrtHalf(0x3f3504f3);
    const I shifted = bitsOf(x) - sqrtHalf;
    const F e = toFloat(shifted >> 23) - bias;
    const F f = fromBits((shifted & I(0x007fffff)) + sqrtHalf) - F(1.0f);
    const F p = lnSeries(f);
    const F square = f * f;
    F y = p * (square * f);
    y = mulAdd(e, F(-2.12194440e-4f), y);
    y = negMulAdd(F(0.5f), square, y);
    return mulAdd(e, F(0.693359375f), f + y);
}

inline F lnOf(F x, M& zeros, M& negatives) {
    const F zero(0.0f), one(1.0f), infinity(HUGE_VALF);
    if (allNormal(x)) [[likely]]
        return lnOfNormal(x, zero);
    const M regular = bothOf(x > zero, x < infinity);
    const F m = choose(regular, x, one);
    const M denormal = m < F(1.17549435e-38f);
    const F ln =
        lnOfNormal(choose(denormal, m * F(8388608.0f), m), choose(denormal, F(23.0f), zero));
    const M isZero = x == zero;
    const M isNegative = x < zero;
    zeros = eitherOf(zeros, isZero);
    negatives = eitherOf(negatives, isNegative);
    const F special = choose(isZero, -infinity, choose(isNegative, F(NAN), x));
    return choose(regular, ln, special);
}

/// Beyond this the argument's reduction by parts of pi / 2 loses bits.
inline constexpr float largestReduced = 8192.0f;

/// cos(x) and sin(x) for |x| up to largestReduced: x = k pi / 2 + r, |r| <= pi / 4.
inline Complex<F> cosAndSin(F x) {
    const F a = absolute(x);
    const F shifted = mulAdd(a, F(0.636619772f), F(roundingShift));
    const F k = shifted - F(roundingShift);
    F r;
    if constexpr (fusesProducts) {
        r = negMulAdd(k, F(0x1.921fb6p+0f), a);
        r = negMulAdd(k, F(-0x1.777a5cp-25f), r);
        r = negMulAdd(k, F(-0x1.ee59dap-50f), r);
    } else { // parts of 11 bits, whose products with k are exact
        r = a - k * F(0x1.92p+0f);
        r = r - k * F(0x1.fb4p-12f);
        r = r - k * F(0x1.444p-24f);
        r = r - k * F(0x1.68c234p-39f);
    }
    const F square = r * r;
    F s = mulAdd(F(-0.000195180954f), square, F(0.00833218824f));
    s = mulAdd(s, square, F(-0.166666552f));
    s = mulAdd(s, square * r, r);
    F c = mulAdd(F(2.44323273e-05f), square, F(-0.00138873095f));
    c = mulAdd(c, square, F(0.0416666456f));
    c = mulAdd(c, square * square, negMulAdd(F(0.5f), square, F(1.0f)));

    // An odd k swaps the two; their signs follow from its second bit.
    const I quadrant = bitsOf(shifted);
    const I odd = quadrant << 31;
    const I sinSign = (quadrant << 30) ^ bitsOf(x);
    const I cosSign = (quadrant + I(1)) << 30;
    const I sign(INT32_MIN);
    return {withSignFlipped(chooseBySign(odd, s, c), cosSign & sign),
            withSignFlipped(chooseBySign(odd, c, s), sinSign & sign)};
}

/// atan2(im, re): the arc tangent of the smaller part over the larger one, then the octant.
inline F phaseOf(Complex<F> z) {
    const F zero(0.0f);
    const F x = absolute(z.re), y = absolute(z.im);
    const M steep = y > x;
    const F larger = choose(steep, y, x), smaller = choose(steep, x, y);
    F q = quotient(smaller, larger);
    // Equal parts give 1 or, at the origin, 0, where the quotient may be NaN.
    if (anyOf(isNan(q))) [[unlikely]]
        q = choose(smaller == larger, choose(larger == zero, zero, F(1.0f)), q);
    const F square = q * q;
    // Even and odd powers apart: the shorter chain is worth the product more.
    const F fourth = square * square;
    F even = mulAdd(F(-0.0163666476f), fourth, F(-0.0755194426f));
    F odd = mulAdd(F(0.00292031164f), fourth, F(0.0432094932f));
    even = mulAdd(even, fourth, F(-0.14211008f));
    odd = mulAdd(odd, fourth, F(0.106658407f));
    even = mulAdd(even, fourth, F(-0.333331525f));
    odd = mulAdd(odd, fourth, F(0.199937671f));
    const F p = mulAdd(odd, square, even);
    // From the nearest axis, towards or away from it; -0 is on the left.
    const I sign = signBitOf(z.re), left = sign >> 31;
    const F turn = withSignFlipped(mulAdd(p, square * q, q), sign);
    F flat = turn, upright = turn;
    if constexpr (!fusesProducts) { // the low parts of pi and pi / 2 make up for more roundings
        flat = turn + fromBits(left & bitsOf(F(-8.74227766e-8f)));
        upright = turn - F(-4.37113883e-8f);
    }
    flat = flat + fromBits(left & bitsOf(F(3.14159274f)));
    const F angle = choose(steep, F(1.57079637f) - upright, flat);
    return withSignFlipped(angle, signBitOf(z.im)); // NaN, which went through all of it, stays
}

inline IppStatus exp32f(const float* src, float* dst, int len) {
    mapRows(
        len, Out{dst}, [](F x) { return expOf(x); }, In{src});
    return ippStsNoErr;
}

inline IppStatus ln32f(const float* src, float* dst, int len) {
    M zeros = F(1.0f) == F(0.0f);
    M negatives = zeros;
    mapRows(
        len, Out{dst}, [&](F x) { return lnOf(x, zeros, negatives); }, In{src});
    if (anyOf(zeros))
        return ippStsLnZeroArg;
    return anyOf(negatives) ? ippStsLnNegArg : ippStsNoErr;
}

inline IppStatus magnitude32fc(const Ipp32fc* src, float* dst, int len) {
    mapRows(
        len, Out{dst}, [](Complex<F> z) { return squareRoot(mulAdd(z.re, z.re, z.im * z.im)); },
        ComplexIn(src));
    return ippStsNoErr;
}

inline IppStatus phase32fc(const Ipp32fc* src, float* dst, int len) {
    mapRows(
        len, Out{dst}, [](Complex<F> z) { return phaseOf(z); }, ComplexIn(src));
    return ippStsNoErr;
}

/// Once more for phases that are large, infinite or NaN. `dst` is wider than the sources, and so not
/// one of them.
inline void polarToCartOfLarge(const float* magnitude, const float* phase, float* dst,
                               std::ptrdiff_t len) {
    for (std::ptrdiff_t n = 0; n < len; ++n) {
        if (isBeyond(fabsf(phase[n]), largestReduced)) {
            dst[2 * n] = magnitude[n] * cosf(phase[n]);
            dst[2 * n + 1] = magnitude[n] * sinf(phase[n]);
        }
    }
}

inline IppStatus polarToCart32fc(const float* magnitude, const float* phase, Ipp32fc* dst,
                                 int len) {
    const F largest(largestReduced);
    M large = isBeyond(F(0.0f), largest);
    mapRows(
        len, ComplexOut(dst),
        [&large, largest](F m, F p) {
            large = eitherOf(large, isBeyond(absolute(p), largest));
            const Complex<F> z = cosAndSin(p);
            return Complex<F>{m * z.re, m * z.im};
        },
        In{magnitude}, In{phase});
    if (anyOf(large))
        polarToCartOfLarge(magnitude, phase, floats(dst), len);
    return ippStsNoErr;
}

} // namespace
