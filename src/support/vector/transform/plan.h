#pragma once

// The plan of a real transform: what ippsFFTInit_R_32f builds and the kernels follow.
//
// The N real samples are taken as M = N / 2 complex ones, these are transformed by Stockham passes,
// which need no bit reversal, and unpacking makes the N / 2 + 1 bins. Within the passes real and
// imaginary parts are apart. The last pass, of radix 4 and without twiddles, is not in the list of
// passes: it is one with the unpacking. Vectors of L lanes need L columns; so the first pass, which
// has one column, and for L above 4 the second one, which has four, are of radix 4 and permute
// their vectors. Transforms too long for 31-bit sizes work in place instead.

#include "support/vector/kernels/kernels.h"

#include <cstddef>
#include <cstdint>

namespace sorvane::vector {

/// One Stockham pass: M = radix * count * stride. Output radix * p + k of column q is the k-th
/// output of a butterfly over inputs p + count * j, times exp(-2 pi i p k / (radix * count)).
struct FftPass {
    int radix;
    std::ptrdiff_t count;
    std::ptrdiff_t stride;
    const float* twiddles; // see FftPlanBuilder for their order
};

enum class FftMethod { passes, inPlace };

/// The longest transform by passes; a longer one would need work buffers past 2^31 bytes.
inline constexpr int largestFftOrderByPasses = 24;
inline constexpr int largestFftOrder = 29;

/// The work buffer of passes over `size` complex samples holds two rows of real and imaginary
/// parts. The gap between its four parts keeps the streams of a pass in different sets of the first
/// cache: without it transforms of 8,192 take 8 % longer, of 16,384 30 %.
inline constexpr std::ptrdiff_t fftWorkGap = 144; // floats
inline constexpr std::int64_t fftWorkFloats(std::int64_t size) {
    return 4 * (size + fftWorkGap);
}

/// Byte sizes of a plan and of its work buffer. Both leave room to align the block.
struct FftSizes {
    std::int64_t spec;
    std::int64_t work;
};

FftSizes fftSizes(int order, FftMethod method, const Kernels& form);

/// Builds a plan in `memory`, which has the size that fftSizes tells for the same arguments.
IppsFFTSpec_R_32f* buildFft(int order, int flag, FftMethod method, const Kernels& form,
                            Ipp8u* memory);

IppStatus fftForwardInPlace(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                            Ipp32f* work);
IppStatus fftInverseInPlace(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                            Ipp32f* work);

} // namespace sorvane::vector

struct IppsFFTSpec_R_32f {
    static constexpr std::uint64_t identity = 0x534f52564146465eULL;

    using Transform = IppStatus (*)(const Ipp32f*, Ipp32f*, const IppsFFTSpec_R_32f*, Ipp32f*);

    std::uint64_t id; // tells a spec from other memory
    Transform forward;
    Transform inverse;
    int order;
    int lanes;          // of the passes
    float forwardScale; // of the results, where the flag asks for a division
    float inverseScale;
    int numPasses;
    sorvane::vector::FftPass passes[16];
    // By passes: half of exp(-2 pi i k / N), for the bins of each vector and then for those of the
    // columns 0 and S / 2.
    const float* unpackTwiddles;
    const float* selfMirroredTwiddles;
    // In place: cosines and sines, interleaved, of the high and the low half of a twiddle's index.
    const double* coarseTwiddles;
    const double* fineTwiddles;
    int fineBits;
};
