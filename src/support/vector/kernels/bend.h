#pragma once

// Bent masks: their magnitudes raised to a power.

namespace {

/// w^p by 2^(p log2 w), for normal positive w. The product of p and the binary exponent of w is exact
/// for the high part of p, so that the error doesn't grow with the logarithm.
struct PowerOf {
    F p, high, lowTimesLn2;

    explicit PowerOf(float exponent) : p(exponent) {
        high = fromBits(bitsOf(p) & I(-4096));
        lowTimesLn2 = (p - high) * F(ln2);
    }

    F operator()(F w) const {
        const I sqrtHalf(0x3f3504f3);
        const I shifted = bitsOf(w) - sqrtHalf;
        const F e = toFloat(shifted >> 23);
        const F f = fromBits((shifted & I(0x007fffff)) + sqrtHalf) - F(1.0f);
        const F square = f * f;
        const F mantissa = f + mulAdd(lnSeries(f), square * f, F(-0.5f) * square);
        const F rest = mulAdd(lowTimesLn2, e, p * mantissa);
        const F exact = high * e;
        const F power = mulAdd(rest, F(1.44269504f), exact);
        if (anyOf(isBeyond(absolute(power), F(125.0f)))) [[unlikely]]
            return ofAny(rest, exact, power);
        const F n = power + F(roundingShift);
        const F rounded = expSeries(mulAdd(exact - (n - F(roundingShift)), F(ln2), rest));
        return fromBits(bitsOf(rounded) + (bitsOf(n) << 23));
    }

private:
    static constexpr float ln2 = 0.693147181f;

    /// Where the result may be infinite, denormal or 0.
    static F ofAny(F rest, F exact, F power) {
        const F n = atLeast(F(-150.0f), atMost(F(150.0f), power)) + F(roundingShift);
        const F r = mulAdd(exact - (n - F(roundingShift)), F(ln2), rest);
        const F value = scaledByPower(expSeries(r), roundedBits(n));
        const F limited = choose(power > F(129.0f), F(HUGE_VALF), value);
        return choose(power < F(-150.0f), F(0.0f), limited);
    }
};

/// The cosines of angles that are large, infinite or NaN, one by one.
inline F withCosinesOfLarge(F x, F cosine) {
    float angles[W], cosines[W];
    storeAt(angles, x);
    storeAt(cosines, cosine);
    for (std::ptrdiff_t i = 0; i < W; ++i) {
        if (isBeyond(angles[i], largestReduced))
            cosines[i] = cosf(angles[i]);
    }
    return loadAt<F>(cosines);
}

/// The cosine of any angle from 0 up, good to 1e-7 absolutely: x = k pi + r, |r| <= pi / 2.
inline F cosineOf(F x) {
    const F shifted = mulAdd(x, F(0.318309886f), F(roundingShift));
    const F k = shifted - F(roundingShift);
    F r;
    if constexpr (fusesProducts) {
        r = negMulAdd(k, F(0x1.921fb6p+1f), x);
        r = negMulAdd(k, F(-0x1.777a5cp-24f), r);
    } else { // parts of 11 bits, whose products with k are exact
        r = x - k * F(0x1.92p+1f);
        r = r - k * F(0x1.fb4p-11f);
        r = r - k * F(0x1.4442d2p-23f);
    }
    const F square = r * r;
    F c = mulAdd(F(-2.60770918e-07f), square, F(2.47618846e-05f));
    c = mulAdd(c, square, F(-0.00138884038f));
    c = mulAdd(c, square, F(0.0416666418f));
    c = mulAdd(c, square, F(-0.5f));
    c = mulAdd(c, square, F(1.0f));
    const F cosine = withSignFlipped(c, bitsOf(shifted) << 31);
    if (anyOf(isBeyond(x, F(largestReduced)))) [[unlikely]]
        return withCosinesOfLarge(x, cosine);
    return cosine;
}

inline IppStatus bend32fc(const Ipp32fc* src, Ipp32fc* dst, int len, float g) {
    const PowerOf power(g - 1.0f);
    const bool raise = g < 1.0f;
    mapRows(
        len, ComplexOut(dst),
        [&](Complex<F> z) {
            const F x = squareRoot(mulAdd(z.re, z.re, z.im * z.im));
            const F w = raise ? x : F(0.5f) - cosineOf(x * F(3.1415927f)) * F(0.5f);
            const F factor = choose(isNan(w), w, power(w + F(1e-12f)));
            return Complex<F>{z.re * factor, z.im * factor};
        },
        ComplexIn(src));
    return ippStsNoErr;
}

} // namespace
