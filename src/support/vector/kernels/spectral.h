#pragma once

// The kernels of the spectral chain: robust magnitudes, applied masks, and values side by side.

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
