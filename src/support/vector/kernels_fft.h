#pragma once

// The passes of the real transform and its unpacking, for vectors of the form and for single
// floats. The plan is explained in fft_plan.h.

#include "support/vector/fft_plan.h"

namespace {

using sorvane::vector::FftPass;

template <class V>
inline Complex<V> operator+(Complex<V> a, Complex<V> b) {
    return {a.re + b.re, a.im + b.im};
}

template <class V>
inline Complex<V> operator-(Complex<V> a, Complex<V> b) {
    return {a.re - b.re, a.im - b.im};
}

template <class V>
inline Complex<V> timesMinusI(Complex<V> z) {
    return {z.im, V(0.0f) - z.re};
}

template <class V>
inline Complex<V> times(Complex<V> a, Complex<V> w) {
    return {negMulAdd(a.im, w.im, a.re * w.re), mulAdd(a.im, w.re, a.re * w.im)};
}

/// A complex row whose real and imaginary parts are apart.
struct Split {
    float* re;
    float* im;
};

/// A complex row of pairs.
struct Pairs {
    float* p;
};

// Loads come in the natural order of the form's pairs where Natural is set, else in linear order;
// for a single float the two are the same.

template <class V, bool Natural>
inline Complex<V> loadRow(Split row, std::ptrdiff_t n) {
    const Complex<V> z{loadAt<V>(row.re + n), loadAt<V>(row.im + n)};
    if constexpr (Natural)
        return {toNatural(z.re), toNatural(z.im)};
    else
        return z;
}

template <class V, bool Natural>
inline Complex<V> loadRow(Pairs row, std::ptrdiff_t n) {
    static_assert(Natural || lanesOf<V> == 1);
    return splitPairs(loadAt<V>(row.p + 2 * n), loadAt<V>(row.p + 2 * n + lanesOf<V>));
}

template <class V>
inline void storeRow(Split row, std::ptrdiff_t n, Complex<V> z) {
    storeAt(row.re + n, z.re);
    storeAt(row.im + n, z.im);
}

/// The inverse transform is the forward one with real and imaginary parts exchanged, so that its
/// last pass stores pairs the other way round.
template <class V>
inline void storeRow(Pairs row, std::ptrdiff_t n, Complex<V> z) {
    V a = z.re, b = z.im;
    joinPairs(Complex<V>{toNatural(z.im), toNatural(z.re)}, a, b);
    storeAt(row.p + 2 * n, a);
    storeAt(row.p + 2 * n + lanesOf<V>, b);
}

template <class V>
inline void butterfly(Complex<V> (&z)[2]) {
    const Complex<V> a = z[0];
    z[0] = a + z[1];
    z[1] = a - z[1];
}

template <class V>
inline void butterfly(Complex<V> (&z)[4]) {
    const Complex<V> sum0 = z[0] + z[2], difference0 = z[0] - z[2];
    const Complex<V> sum1 = z[1] + z[3], difference1 = z[1] - z[3];
    z[0] = sum0 + sum1;
    z[2] = sum0 - sum1;
    z[1] = {difference0.re + difference1.im, difference0.im - difference1.re};
    z[3] = {difference0.re - difference1.im, difference0.im + difference1.re};
}

template <class V>
inline void butterfly(Complex<V> (&z)[8]) {
    const V h(0.707106781f);
    Complex<V> even[4] = {z[0] + z[4], z[1] + z[5], z[2] + z[6], z[3] + z[7]};
    const Complex<V> d1 = z[1] - z[5], d3 = z[3] - z[7];
    Complex<V> odd[4] = {z[0] - z[4],
                         {(d1.re + d1.im) * h, (d1.im - d1.re) * h},
                         timesMinusI(z[2] - z[6]),
                         {(d3.im - d3.re) * h, (V(0.0f) - d3.re - d3.im) * h}};
    butterfly(even);
    butterfly(odd);
    for (int i = 0; i < 4; ++i) {
        z[2 * i] = even[i];
        z[2 * i + 1] = odd[i];
    }
}

/// Four columns of four points, turned, then their rows.
template <class V>
inline void butterfly(Complex<V> (&z)[16]) {
    const V h(0.707106781f), c(0.923879533f), s(0.382683432f);
    Complex<V> columns[4][4];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j)
            columns[i][j] = z[i + 4 * j];
        butterfly(columns[i]);
    }
    const Complex<V> turns[4][4] = {
        {}, {{}, {c, -s}, {h, -h}, {s, -c}}, {}, {{}, {s, -c}, {-h, -h}, {-c, s}}};
    for (int j = 1; j < 4; ++j) {
        columns[1][j] = times(columns[1][j], turns[1][j]);
        columns[3][j] = times(columns[3][j], turns[3][j]);
    }
    const Complex<V> a = columns[2][1], b = columns[2][3];
    columns[2][1] = {(a.re + a.im) * h, (a.im - a.re) * h};
    columns[2][2] = timesMinusI(columns[2][2]);
    columns[2][3] = {(b.im - b.re) * h, (V(0.0f) - b.re - b.im) * h};
    for (int j = 0; j < 4; ++j) {
        Complex<V> row[4] = {columns[0][j], columns[1][j], columns[2][j], columns[3][j]};
        butterfly(row);
        for (int k = 0; k < 4; ++k)
            z[j + 4 * k] = row[k];
    }
}

/// A pass along its columns: all its vectors lie within one column's stride.
template <class V, int Radix, class Source, class Target>
inline void runPass(const FftPass& pass, Source in, Target out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const std::ptrdiff_t stride = pass.stride;
    const std::ptrdiff_t distance = pass.count * stride;
    const float* w = pass.twiddles;
    for (std::ptrdiff_t p = 0; p < pass.count; ++p, w += std::ptrdiff_t{2} * (Radix - 1)) {
        Complex<V> twiddles[Radix];
        for (int k = 1; k < Radix; ++k)
            twiddles[k] = {V(w[2 * k - 2]), V(w[2 * k - 1])};
        const std::ptrdiff_t from = p * stride, to = Radix * p * stride;
        for (std::ptrdiff_t q = 0; q < stride; q += lanes) {
            Complex<V> z[Radix];
            for (int j = 0; j < Radix; ++j)
                z[j] = loadRow<V, lanes == 1>(in, from + q + j * distance);
            butterfly(z);
            storeRow(out, to + q, z[0]);
            for (int k = 1; k < Radix; ++k)
                storeRow(out, to + q + k * stride, times(z[k], twiddles[k]));
        }
    }
}

/// The last pass, whose twiddles are all 1.
template <class V, int Radix, class Source, class Target>
inline void runLastPass(const FftPass& pass, Source in, Target out) {
    const std::ptrdiff_t stride = pass.stride;
    for (std::ptrdiff_t q = 0; q < stride; q += lanesOf<V>) {
        Complex<V> z[Radix];
        for (int j = 0; j < Radix; ++j)
            z[j] = loadRow<V, lanesOf<V> == 1>(in, q + j * stride);
        butterfly(z);
        for (int k = 0; k < Radix; ++k)
            storeRow(out, q + k * stride, z[k]);
    }
}

/// The first pass of vectors: as many butterflies at a time as there are lanes, each of as many
/// points, transposed so that every butterfly's outputs lie together.
template <class V, class Source>
inline void runFirstPass(const FftPass& pass, Source in, Split out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const float* w = pass.twiddles;
    for (std::ptrdiff_t p = 0; p < pass.count; p += lanes) {
        Complex<V> z[lanes];
        for (std::ptrdiff_t j = 0; j < lanes; ++j)
            z[j] = loadRow<V, true>(in, p + j * pass.count);
        butterfly(z);
        V re[lanes], im[lanes];
        re[0] = z[0].re;
        im[0] = z[0].im;
        for (std::ptrdiff_t k = 1; k < lanes; ++k, w += 2 * lanes) {
            const Complex<V> y = times(z[k], Complex<V>{loadAt<V>(w), loadAt<V>(w + lanes)});
            re[k] = y.re;
            im[k] = y.im;
        }
        transposeRows(re);
        transposeRows(im);
        for (std::ptrdiff_t i = 0; i < lanes; ++i) {
            storeAt(out.re + lanes * (p + naturalOrder[i]), re[i]);
            storeAt(out.im + lanes * (p + naturalOrder[i]), im[i]);
        }
    }
}

template <class V, class Source, class Target>
inline void runAnyPass(const FftPass& pass, Source in, Target out) {
    const bool last = pass.count == 1;
    if (pass.radix == 8)
        last ? runLastPass<V, 8>(pass, in, out) : runPass<V, 8>(pass, in, out);
    else if (pass.radix == 4)
        last ? runLastPass<V, 4>(pass, in, out) : runPass<V, 4>(pass, in, out);
    else
        last ? runLastPass<V, 2>(pass, in, out) : runPass<V, 2>(pass, in, out);
}

template <class V, class Source>
inline void runOpeningPass(const FftPass& pass, Source in, Split out) {
    if constexpr (lanesOf < V >> 1)
        runFirstPass<V>(pass, in, out);
    else
        runAnyPass<V>(pass, in, out);
}

/// The bins from the transform of the complex samples, where E and O are the transforms of the even
/// and the odd samples: X[k] = E[k] + exp(-2 pi i k / N) O[k], X[M - k] = conj(E[k] - ...).
template <class V>
inline void unpackBins(const IppsFFTSpec_R_32f& spec, Split in, float* dst) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const std::ptrdiff_t size = std::ptrdiff_t{1} << (spec.order - 1);
    const std::ptrdiff_t half = size / 2;
    const float scale = spec.forwardScale;
    const V halfScale(0.5f * scale);
    for (std::ptrdiff_t k = 1; k <= half; k += lanes) {
        const std::ptrdiff_t mirror = size - k - (lanes - 1);
        const Complex<V> a{loadAt<V>(in.re + k), loadAt<V>(in.im + k)};
        const Complex<V> b{reversed(loadAt<V>(in.re + mirror)),
                           reversed(loadAt<V>(in.im + mirror))};
        const Complex<V> w{loadAt<V>(spec.unpackTwiddles + k - 1),
                           loadAt<V>(spec.unpackTwiddles + half + k - 1)};
        const Complex<V> even{(a.re + b.re) * halfScale, (a.im - b.im) * halfScale};
        const Complex<V> odd{(a.im + b.im) * halfScale, (b.re - a.re) * halfScale};
        const Complex<V> turned = times(odd, w);
        const Complex<V> low = even + turned;
        const Complex<V> high{even.re - turned.re, turned.im - even.im};
        V x = low.re, y = low.im;
        joinPairs(Complex<V>{toNatural(low.re), toNatural(low.im)}, x, y);
        storeAt(dst + 2 * k, x);
        storeAt(dst + 2 * k + lanes, y);
        joinPairs(Complex<V>{toNatural(reversed(high.re)), toNatural(reversed(high.im))}, x, y);
        storeAt(dst + 2 * mirror, x);
        storeAt(dst + 2 * mirror + lanes, y);
    }
    const float re = in.re[0], im = in.im[0];
    dst[0] = (re + im) * scale;
    dst[1] = 0.0f;
    dst[2 * size] = (re - im) * scale;
    dst[2 * size + 1] = 0.0f;
}

/// The reverse of unpackBins, times two, which leaves a transform without scaling.
template <class V>
inline void packBins(const IppsFFTSpec_R_32f& spec, const float* src, Split out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const std::ptrdiff_t size = std::ptrdiff_t{1} << (spec.order - 1);
    const std::ptrdiff_t half = size / 2;
    const float scale = spec.inverseScale;
    const V factor(scale);
    for (std::ptrdiff_t k = 1; k <= half; k += lanes) {
        const std::ptrdiff_t mirror = size - k - (lanes - 1);
        const Complex<V> x = splitPairs(loadAt<V>(src + 2 * k), loadAt<V>(src + 2 * k + lanes));
        const Complex<V> y =
            splitPairs(loadAt<V>(src + 2 * mirror), loadAt<V>(src + 2 * mirror + lanes));
        const Complex<V> a{toLinear(x.re), toLinear(x.im)};
        const Complex<V> b{reversed(toLinear(y.re)), reversed(toLinear(y.im))};
        const Complex<V> w{loadAt<V>(spec.unpackTwiddles + k - 1) * factor,
                           loadAt<V>(spec.unpackTwiddles + half + k - 1) * factor};
        const Complex<V> even{(a.re + b.re) * factor, (a.im - b.im) * factor};
        const Complex<V> difference{a.re - b.re, a.im + b.im};
        const Complex<V> odd{mulAdd(difference.im, w.im, difference.re * w.re),
                             negMulAdd(difference.re, w.im, difference.im * w.re)};
        storeAt(out.re + k, even.re - odd.im);
        storeAt(out.im + k, even.im + odd.re);
        storeAt(out.re + mirror, reversed(even.re + odd.im));
        storeAt(out.im + mirror, reversed(odd.re - even.im));
    }
    const float first = src[0] * scale, last = src[2 * size] * scale;
    out.re[0] = first + last;
    out.im[0] = first - last;
}

template <class V>
inline void forwardByPasses(const float* src, float* dst, const IppsFFTSpec_R_32f& spec,
                            float* work) {
    const std::ptrdiff_t size = std::ptrdiff_t{1} << (spec.order - 1);
    const std::ptrdiff_t part = size + sorvane::vector::fftWorkGap;
    const Split rows[2] = {{work, work + part}, {work + 2 * part, work + 3 * part}};
    // The source is only read.
    runOpeningPass<V>(spec.passes[0], Pairs{const_cast<float*>(src)}, rows[0]);
    for (int i = 1; i < spec.numPasses; ++i)
        runAnyPass<V>(spec.passes[i], rows[(i - 1) % 2], rows[i % 2]);
    unpackBins<V>(spec, rows[(spec.numPasses - 1) % 2], dst);
}

template <class V>
inline void inverseByPasses(const float* src, float* dst, const IppsFFTSpec_R_32f& spec,
                            float* work) {
    const std::ptrdiff_t size = std::ptrdiff_t{1} << (spec.order - 1);
    const std::ptrdiff_t part = size + sorvane::vector::fftWorkGap;
    const Split rows[2] = {{work, work + part}, {work + 2 * part, work + 3 * part}};
    packBins<V>(spec, src, rows[0]);
    const Split exchanged{rows[0].im, rows[0].re};
    const int last = spec.numPasses - 1;
    if (last == 0) {
        runAnyPass<V>(spec.passes[0], exchanged, Pairs{dst});
        return;
    }
    runOpeningPass<V>(spec.passes[0], exchanged, rows[1]);
    for (int i = 1; i < last; ++i)
        runAnyPass<V>(spec.passes[i], rows[i % 2], rows[(i + 1) % 2]);
    runAnyPass<V>(spec.passes[last], rows[last % 2], Pairs{dst});
}

inline IppStatus fftForward(const float* src, float* dst, const IppsFFTSpec_R_32f* spec,
                            float* work) {
    if (spec->order < 2) {
        const float a = src[0], b = spec->order == 1 ? src[1] : 0.0f;
        dst[0] = (a + b) * spec->forwardScale;
        dst[1] = 0.0f;
        if (spec->order == 1) {
            dst[2] = (a - b) * spec->forwardScale;
            dst[3] = 0.0f;
        }
    } else if (spec->lanes == 1) {
        forwardByPasses<float>(src, dst, *spec, work);
    } else {
        forwardByPasses<F>(src, dst, *spec, work);
    }
    return ippStsNoErr;
}

inline IppStatus fftInverse(const float* src, float* dst, const IppsFFTSpec_R_32f* spec,
                            float* work) {
    if (spec->order < 2) {
        const float a = src[0], b = spec->order == 1 ? src[2] : 0.0f;
        dst[0] = (a + b) * spec->inverseScale;
        if (spec->order == 1)
            dst[1] = (a - b) * spec->inverseScale;
    } else if (spec->lanes == 1) {
        inverseByPasses<float>(src, dst, *spec, work);
    } else {
        inverseByPasses<F>(src, dst, *spec, work);
    }
    return ippStsNoErr;
}

} // namespace
