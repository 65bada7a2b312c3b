#pragma once

// Between bins and the passes: the pass without twiddles, fused with the unpacking of bins.
//
// With Z the transform of the M complex samples, bins k and M - k follow from Z[k] and Z[M - k]:
// where E and O are the transforms of the even and the odd samples, X[k] = E[k] + w^k O[k] and
// X[M - k] = conj(E[k] - w^k O[k]), w = exp(-2 pi i / N). The pass computes columns q and S - q,
// S = M / 4, together: row k of the one is the mirror of row 3 - k of the other. Columns 0 and S / 2
// are their own mirrors, and done as single floats after the rest, which writes rubbish into them.

#include "support/vector/transform/butterflies.h"

namespace {

/// Bins k and M - k from Z[k] and Z[M - k]; `w` is half of the twiddle.
template <class V>
inline void unpackPair(Complex<V> a, Complex<V> b, Complex<V> w, Complex<V>& low,
                       Complex<V>& high) {
    const V half(0.5f);
    const Complex<V> even{a.re + b.re, a.im - b.im};
    const Complex<V> odd{a.im + b.im, b.re - a.re};
    const Complex<V> turned = product(odd, w);
    low = {mulAdd(even.re, half, turned.re), mulAdd(even.im, half, turned.im)};
    high = {mulSub(even.re, half, turned.re), negMulAdd(even.im, half, turned.im)};
}

/// The reverse, times two, which leaves a transform without scaling.
template <class V>
inline void packPair(Complex<V> a, Complex<V> b, Complex<V> w, Complex<V>& low, Complex<V>& high) {
    const V two(2.0f);
    const Complex<V> even{a.re + b.re, a.im - b.im};
    const Complex<V> difference{a.re - b.re, a.im + b.im};
    const Complex<V> odd{mulAdd(difference.im, w.im, difference.re * w.re),
                         negMulAdd(difference.re, w.im, difference.im * w.re)};
    low = {negMulAdd(odd.im, two, even.re), mulAdd(odd.re, two, even.im)};
    high = {mulAdd(odd.im, two, even.re), mulSub(odd.re, two, even.im)};
}

inline Complex<float> pairAt(const float* p) {
    return {p[0], p[1]};
}

inline void unpackOne(const Complex<float> (&z)[4], int row, int mirrorRow, const float* w,
                      float* low, float* high) {
    Complex<float> x, y;
    unpackPair(z[row], z[mirrorRow], pairAt(w), x, y);
    storePairs(high, y);
    storePairs(low, x);
}

/// Column 0, which has bins 0 and M, and column S / 2.
inline void closeSelfMirrored(const IppsFFTSpec_R_32f& spec, Split in, float* dst) {
    const std::ptrdiff_t columns = std::ptrdiff_t{1} << (spec.order - 3);
    const auto bin = [dst, columns](std::ptrdiff_t halves) { return dst + halves * columns; };
    const float* w = spec.selfMirroredTwiddles;
    const auto column = [in, columns](std::ptrdiff_t q, Complex<float>(&z)[4]) {
        for (std::ptrdiff_t j = 0; j < 4; ++j)
            z[j] = load<float>(in, q + j * columns);
        butterfly(z);
    };
    Complex<float> z[4];
    column(0, z);
    storePairs(bin(0), Complex<float>{z[0].re + z[0].im, 0.0f});
    storePairs(bin(8), Complex<float>{z[0].re - z[0].im, 0.0f});
    unpackOne(z, 1, 3, w, bin(2), bin(6));
    unpackOne(z, 2, 2, w + 2, bin(4), bin(4));
    if (columns > 1) {
        column(columns / 2, z);
        unpackOne(z, 0, 3, w + 4, bin(1), bin(7));
        unpackOne(z, 1, 2, w + 6, bin(3), bin(5));
    }
}

template <class V>
inline void closeForward(const IppsFFTSpec_R_32f& spec, Split in, float* dst) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const std::ptrdiff_t columns = std::ptrdiff_t{1} << (spec.order - 3);
    const float* w = spec.unpackTwiddles;
    for (std::ptrdiff_t q = 0; q < columns / 2; q += lanes) {
        const std::ptrdiff_t mirror = columns - q - (lanes - 1);
        Complex<V> a[4], b[4];
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            a[k] = load<V>(in, q + k * columns);
            b[k] = load<V>(in, mirror + k * columns);
        }
        butterfly(a);
        butterfly(b);
        for (std::ptrdiff_t k = 0; k < 4; ++k, w += 2 * lanes) {
            const Complex<V> other{reversed(b[3 - k].re), reversed(b[3 - k].im)};
            Complex<V> low, high;
            unpackPair(a[k], other, Complex<V>{loadAt<V>(w), loadAt<V>(w + lanes)}, low, high);
            storePairs(dst + 2 * (q + k * columns), low);
            storePairsReversed(dst + 2 * (mirror + (3 - k) * columns), high);
        }
    }
    closeSelfMirrored(spec, in, dst);
}

inline void packOne(Complex<float> (&z)[4], int row, int mirrorRow, const float* w,
                    const float* low, const float* high) {
    Complex<float> x, y;
    packPair(pairAt(low), pairAt(high), pairAt(w), x, y);
    z[mirrorRow] = y;
    z[row] = x;
}

inline void openSelfMirrored(const IppsFFTSpec_R_32f& spec, const float* src, Split out) {
    const std::ptrdiff_t columns = std::ptrdiff_t{1} << (spec.order - 3);
    const auto bin = [src, columns](std::ptrdiff_t halves) { return src + halves * columns; };
    const float* w = spec.selfMirroredTwiddles;
    const auto column = [out, columns](std::ptrdiff_t q, Complex<float>(&z)[4]) {
        butterfly(z);
        for (std::ptrdiff_t j = 0; j < 4; ++j)
            store(out, q + j * columns, z[j]);
    };
    const float first = *bin(0), last = *bin(8);
    Complex<float> z[4];
    z[0] = {first + last, first - last};
    packOne(z, 1, 3, w, bin(2), bin(6));
    packOne(z, 2, 2, w + 2, bin(4), bin(4));
    for (Complex<float>& x : z)
        x = {x.im, x.re};
    column(0, z);
    if (columns > 1) {
        packOne(z, 0, 3, w + 4, bin(1), bin(7));
        packOne(z, 1, 2, w + 6, bin(3), bin(5));
        for (Complex<float>& x : z)
            x = {x.im, x.re};
        column(columns / 2, z);
    }
}

/// Its output has real and imaginary parts exchanged.
template <class V>
inline void openInverse(const IppsFFTSpec_R_32f& spec, const float* src, Split out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const std::ptrdiff_t columns = std::ptrdiff_t{1} << (spec.order - 3);
    const float* w = spec.unpackTwiddles;
    for (std::ptrdiff_t q = 0; q < columns / 2; q += lanes) {
        const std::ptrdiff_t mirror = columns - q - (lanes - 1);
        Complex<V> a[4], b[4];
        for (std::ptrdiff_t k = 0; k < 4; ++k, w += 2 * lanes) {
            Complex<V> low, high, x, y;
            loadPairs(src + 2 * (q + k * columns), low);
            loadPairsReversed(src + 2 * (mirror + (3 - k) * columns), high);
            packPair(low, high, Complex<V>{loadAt<V>(w), loadAt<V>(w + lanes)}, x, y);
            a[k] = {x.im, x.re};
            b[3 - k] = {reversed(y.im), reversed(y.re)};
        }
        butterfly(a);
        butterfly(b);
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            store(out, q + k * columns, a[k]);
            store(out, mirror + k * columns, b[k]);
        }
    }
    openSelfMirrored(spec, src, out);
}

inline void splitRow(const float* src, Split out, std::ptrdiff_t size) {
    for (std::ptrdiff_t n = 0; n < size; ++n)
        store(out, n, pairAt(src + 2 * n));
}

/// Exchanges real and imaginary parts back.
inline void joinRow(Split in, float* dst, std::ptrdiff_t size) {
    for (std::ptrdiff_t n = 0; n < size; ++n)
        storePairs(dst + 2 * n, Complex<float>{in.im[n], in.re[n]});
}

/// Transforms of one, two or four samples.
inline void forwardOfFew(const float* src, float* dst, const IppsFFTSpec_R_32f& spec) {
    const float a = src[0], b = spec.order > 0 ? src[1] : 0.0f;
    if (spec.order < 2) {
        storePairs(dst, Complex<float>{a + b, 0.0f});
        if (spec.order == 1)
            storePairs(dst + 2, Complex<float>{a - b, 0.0f});
        return;
    }
    const float c = src[2], d = src[3];
    storePairs(dst, Complex<float>{(a + c) + (b + d), 0.0f});
    storePairs(dst + 2, Complex<float>{a - c, d - b});
    storePairs(dst + 4, Complex<float>{(a + c) - (b + d), 0.0f});
}

inline void inverseOfFew(const float* src, float* dst, const IppsFFTSpec_R_32f& spec) {
    if (spec.order == 0) {
        dst[0] = src[0];
        return;
    }
    const float first = src[0], last = src[2 << (spec.order - 1)];
    if (spec.order == 1) {
        storePairs(dst, Complex<float>{first + last, first - last});
        return;
    }
    const float re = 2 * src[2], im = 2 * src[3];
    const float even = first + last, odd = first - last;
    storePairs(dst, Complex<float>{even + re, odd - im});
    storePairs(dst + 2, Complex<float>{even - re, odd + im});
}

} // namespace
