#pragma once

// The real transform as its plan tells it, for vectors of the form, for narrower ones and for
// single floats. plan.h explains the plan.
//
// The forward transform runs the passes in order. The matrix of a transform is symmetric, so the
// transposed passes in reverse order are a transform too: the inverse runs these, with real and
// imaginary parts exchanged at both ends. So the unpacking of bins is always within the pass that
// has no twiddles, and the transposition of vectors always within those next to the samples.

#include "support/vector/transform/bins.h"

#include "support/vector/transform/butterflies.h"
#include <bit>

namespace {

/// Applies a permutation of four vectors to the real and to the imaginary parts.
template <class V, class Permutation>
inline void permuteParts(Complex<V> (&z)[4], Permutation permute) {
    V re[4], im[4];
    for (int k = 0; k < 4; ++k) {
        re[k] = z[k].re;
        im[k] = z[k].im;
    }
    permute(re);
    permute(im);
    for (int k = 0; k < 4; ++k)
        z[k] = {re[k], im[k]};
}

/// Loads the twiddles of one butterfly of four and multiplies by them.
template <class V>
inline void turn(Complex<V> (&z)[4], const float* w) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    for (std::ptrdiff_t k = 1; k < 4; ++k, w += 2 * lanes)
        z[k] = product(z[k], Complex<V>{loadAt<V>(w), loadAt<V>(w + lanes)});
}

/// The pass next to the samples: as many butterflies at a time as there are lanes, whose outputs
/// are transposed so that the four of each lie together. Group by group of as many butterflies as
/// lanes, quad b of the group's vector i is butterfly i + 4 b.
template <class V>
inline void openingPass(const FftPass& pass, const float* src, Split out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const float* w = pass.twiddles;
    for (std::ptrdiff_t p = 0; p < pass.count; p += lanes, w += 6 * lanes) {
        Complex<V> z[4];
        for (std::ptrdiff_t j = 0; j < 4; ++j)
            loadPairs(src + 2 * (p + j * pass.count), z[j]);
        butterfly(z);
        turn(z, w);
        permuteParts(z, [](auto& vectors) { transposeQuads(vectors); });
        for (std::ptrdiff_t i = 0; i < 4; ++i)
            store(out, 4 * p + i * lanes, z[i]);
    }
}

template <class V>
inline void openingPassTransposed(const FftPass& pass, Split in, float* dst) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const float* w = pass.twiddles;
    for (std::ptrdiff_t p = 0; p < pass.count; p += lanes, w += 6 * lanes) {
        Complex<V> z[4];
        for (std::ptrdiff_t i = 0; i < 4; ++i)
            z[i] = load<V>(in, 4 * p + i * lanes);
        permuteParts(z, [](auto& vectors) { transposeQuads(vectors); });
        turn(z, w);
        butterfly(z);
        for (std::ptrdiff_t j = 0; j < 4; ++j)
            storePairs(dst + 2 * (p + j * pass.count), Complex<V>{z[j].im, z[j].re});
    }
}

/// The pass after the opening one of vectors of more than four lanes: each vector is of several
/// butterflies, and their quads are spread to where they belong.
template <class V>
inline void quadPass(const FftPass& pass, Split in, Split out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const float* w = pass.twiddles;
    for (std::ptrdiff_t p = 0; p < pass.count; p += lanes) {
        for (std::ptrdiff_t i = 0; i < 4; ++i, w += 6 * lanes) {
            Complex<V> z[4];
            for (std::ptrdiff_t j = 0; j < 4; ++j)
                z[j] = load<V>(in, 4 * (p + j * pass.count) + i * lanes);
            butterfly(z);
            turn(z, w);
            permuteParts(z, [](auto& vectors) { spreadQuads(vectors); });
            for (std::ptrdiff_t j = 0; j < 4; ++j)
                store(out, quadOffset<lanes>(p + i, j), z[j]);
        }
    }
}

template <class V>
inline void quadPassTransposed(const FftPass& pass, Split in, Split out) {
    constexpr std::ptrdiff_t lanes = lanesOf<V>;
    const float* w = pass.twiddles;
    for (std::ptrdiff_t p = 0; p < pass.count; p += lanes) {
        for (std::ptrdiff_t i = 0; i < 4; ++i, w += 6 * lanes) {
            Complex<V> z[4];
            for (std::ptrdiff_t j = 0; j < 4; ++j)
                z[j] = load<V>(in, quadOffset<lanes>(p + i, j));
            permuteParts(z, [](auto& vectors) { collectQuads(vectors); });
            turn(z, w);
            butterfly(z);
            for (std::ptrdiff_t j = 0; j < 4; ++j)
                store(out, 4 * (p + j * pass.count) + i * lanes, z[j]);
        }
    }
}

/// A pass whose vectors lie within one column's stride.
template <class V, int Radix, bool Transposed>
inline void columnPass(const FftPass& pass, Split in, Split out) {
    const std::ptrdiff_t stride = pass.stride;
    const std::ptrdiff_t distance = pass.count * stride;
    const int strideBits = std::countr_zero(static_cast<std::size_t>(stride));
    // One loop over butterflies and columns: in two, compilers keep a pointer for each row.
    for (std::ptrdiff_t apart = 0; apart < distance; apart += lanesOf<V>) {
        const std::ptrdiff_t column = apart & (stride - 1);
        const std::ptrdiff_t together = Radix * (apart - column) + column;
        const float* w = pass.twiddles + 2 * (Radix - 1) * (apart >> strideBits);
        Complex<V> z[Radix];
        for (int k = 0; k < Radix; ++k)
            z[k] = load<V>(in, Transposed ? together + k * stride : apart + k * distance);
        if (!Transposed)
            butterfly(z);
        for (int k = 1; k < Radix; ++k)
            z[k] = product(z[k], Complex<V>{V(w[2 * k - 2]), V(w[2 * k - 1])});
        if (Transposed)
            butterfly(z);
        for (int k = 0; k < Radix; ++k)
            store(out, Transposed ? apart + k * distance : together + k * stride, z[k]);
    }
}

template <class V, bool Transposed>
inline void anyColumnPass(const FftPass& pass, Split in, Split out) {
    if (pass.radix == 8)
        columnPass<V, 8, Transposed>(pass, in, out);
    else if (pass.radix == 4)
        columnPass<V, 4, Transposed>(pass, in, out);
    else
        columnPass<V, 2, Transposed>(pass, in, out);
}

/// The two rows of a work buffer, of which passes use one as source and one as target.
struct WorkRows {
    WorkRows(const IppsFFTSpec_R_32f& spec, float* work)
        : size(std::ptrdiff_t{1} << (spec.order - 1)) {
        const std::ptrdiff_t part = size + sorvane::vector::fftWorkGap;
        source = {work, work + part};
        target = {work + 2 * part, work + 3 * part};
    }
    void exchange() {
        const Split before = source;
        source = target;
        target = before;
    }
    std::ptrdiff_t size;
    Split source, target;
};

template <class V>
inline void forwardByPasses(const float* src, float* dst, const IppsFFTSpec_R_32f& spec,
                            float* work) {
    WorkRows rows(spec, work);
    int next = 0;
    if constexpr (lanesOf < V >> 1) {
        openingPass<V>(spec.passes[next++], src, rows.source);
        if constexpr (lanesOf < V >> 4) {
            quadPass<V>(spec.passes[next++], rows.source, rows.target);
            rows.exchange();
        }
    } else {
        splitRow(src, rows.source, rows.size);
    }
    for (; next < spec.numPasses; ++next, rows.exchange())
        anyColumnPass<V, false>(spec.passes[next], rows.source, rows.target);
    closeForward<V>(spec, rows.source, dst);
}

template <class V>
inline void inverseByPasses(const float* src, float* dst, const IppsFFTSpec_R_32f& spec,
                            float* work) {
    constexpr int numOpening = lanesOf < V >> 4 ? 2 : lanesOf < V >> 1 ? 1 : 0;
    WorkRows rows(spec, work);
    openInverse<V>(spec, src, rows.source);
    for (int i = spec.numPasses; i > numOpening; rows.exchange())
        anyColumnPass<V, true>(spec.passes[--i], rows.source, rows.target);
    if constexpr (lanesOf < V >> 1) {
        if constexpr (lanesOf < V >> 4) {
            quadPassTransposed<V>(spec.passes[1], rows.source, rows.target);
            rows.exchange();
        }
        openingPassTransposed<V>(spec.passes[0], rows.source, dst);
    } else {
        joinRow(rows.source, dst, rows.size);
    }
}

/// Runs the passes on vectors of spec's lanes: those of V, or of a narrower one.
template <class V>
inline void forwardOfWidth(const float* src, float* dst, const IppsFFTSpec_R_32f& spec,
                           float* work) {
    if constexpr (lanesOf < V >> 1) {
        if (spec.lanes < lanesOf<V>)
            return forwardOfWidth<NarrowerThan<V>>(src, dst, spec, work);
    }
    forwardByPasses<V>(src, dst, spec, work);
}

template <class V>
inline void inverseOfWidth(const float* src, float* dst, const IppsFFTSpec_R_32f& spec,
                           float* work) {
    if constexpr (lanesOf < V >> 1) {
        if (spec.lanes < lanesOf<V>)
            return inverseOfWidth<NarrowerThan<V>>(src, dst, spec, work);
    }
    inverseByPasses<V>(src, dst, spec, work);
}

inline IppStatus fftForward(const float* src, float* dst, const IppsFFTSpec_R_32f* spec,
                            float* work) {
    if (spec->order > 2)
        forwardOfWidth<F>(src, dst, *spec, work);
    else
        forwardOfFew(src, dst, *spec);
    return ippStsNoErr;
}

inline IppStatus fftInverse(const float* src, float* dst, const IppsFFTSpec_R_32f* spec,
                            float* work) {
    if (spec->order > 2)
        inverseOfWidth<F>(src, dst, *spec, work);
    else
        inverseOfFew(src, dst, *spec);
    return ippStsNoErr;
}

} // namespace
