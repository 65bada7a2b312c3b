#pragma once

// The kernels of the spectral chain: robust magnitudes, bent masks, and values side by side.

namespace {

/// Squares of values outside these limits run over, or lose bits as denormals.
inline constexpr float leastSquare = 1e-33f, largestSquare = 1e38f;

inline IppStatus hypot32fc(const Ipp32fc* src, float* dst, int len) {
    M odd = F(1.0f) == F(0.0f);
    mapRows(
        len, Out{dst},
        [&](Complex<F> z) {
            const F square = mulAdd(z.re, z.re, z.im * z.im);
            const F parts = absolute(z.re) + absolute(z.im);
            const M tiny = bothOf(square<F(leastSquare), parts> F(0.0f));
            odd = eitherOf(odd, eitherOf(tiny, eitherOf(square > F(largestSquare), isNan(square))));
            return squareRoot(square);
        },
        ComplexIn(src));
    // Rare enough for one value at a time: silence that decays, or a stream gone wild.
    if (anyOf(odd))
        for (int n = 0; n < len; ++n)
            dst[n] = hypotf(floats(src)[2 * n], floats(src)[2 * n + 1]);
    return ippStsNoErr;
}

/// w^p by 2^(p log2 w). The product of p and the binary exponent of w is exact for the high part of
/// p, so that the error doesn't grow with the logarithm.
struct PowerOf {
    F p, high, low;

    explicit PowerOf(float exponent) : p(exponent) {
        high = fromBits(bitsOf(p) & I(-4096));
        low = p - high;
    }

    F operator()(F w) const {
        constexpr float log2e = 1.44269504f, ln2 = 0.693147181f;
        const I sqrtHalf(0x3f3504f3);
        const I shifted = bitsOf(w) - sqrtHalf;
        const F e = toFloat(shifted >> 23);
        const F f = fromBits((shifted & I(0x007fffff)) + sqrtHalf) - F(1.0f);
        const F square = f * f;
        const F mantissa = f + mulAdd(lnSeries(f), square * f, F(-0.5f) * square);
        const F rest = mulAdd(p, mantissa, low * e * F(ln2));
        const F exact = high * e;
        const F power = mulAdd(rest, F(log2e), exact);
        const F n =
            mulAdd(atLeast(F(-150.0f), atMost(F(150.0f), power)), F(1.0f), F(roundingShift));
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
        if (isBeyond(fabsf(angles[i]), largestReduced))
            cosines[i] = cosf(angles[i]);
    }
    return loadAt<F>(cosines);
}

/// The cosine of any angle.
inline F cosineOf(F x) {
    const F cosine = cosAndSin(x).re;
    if (anyOf(isBeyond(absolute(x), F(largestReduced)))) [[unlikely]]
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

inline IppStatus applyMask32fc(const Ipp32fc* mask, float gain, float remainderGain,
                               const Ipp32fc* input, Ipp32fc* dst, int len) {
    const F g(gain), r(remainderGain);
    mapRows(
        len, ComplexOut(dst),
        [=](Complex<F> m, Complex<F> x) {
            return product(Complex<F>{mulAdd(m.re, g, (F(1.0f) - m.re) * r),
                                      mulAdd(m.im, g, (F(0.0f) - m.im) * r)},
                           x);
        },
        ComplexIn(mask), ComplexIn(input));
    return ippStsNoErr;
}

inline IppStatus realToCplx32f(const float* src, Ipp32fc* dst, int len) {
    mapRows(
        len, ComplexOut(dst),
        [](F x) {
            return Complex<F>{x, F(0.0f)};
        },
        In{src});
    return ippStsNoErr;
}

inline IppStatus interleavePair32f(const float* src1, const float* src2, float* dst, int len) {
    mapRows(
        len, ComplexOut(reinterpret_cast<Ipp32fc*>(dst)),
        [](F a, F b) {
            return Complex<F>{a, b};
        },
        In{src1}, In{src2});
    return ippStsNoErr;
}

/// Two destinations, with the linear order in both.
struct PairOut {
    Out first, second;
    void store(std::ptrdiff_t n, Complex<F> z) const {
        first.store(n, z.re);
        second.store(n, z.im);
    }
    void storeFew(std::ptrdiff_t count, Complex<F> z) const {
        first.storeFew(count, z.re);
        second.storeFew(count, z.im);
    }
};

inline IppStatus deinterleavePair32f(const float* src, float* dst1, float* dst2, int len) {
    mapRows(
        len, PairOut{{dst1}, {dst2}}, [](Complex<F> z) { return z; },
        ComplexIn(reinterpret_cast<const Ipp32fc*>(src)));
    return ippStsNoErr;
}

} // namespace
