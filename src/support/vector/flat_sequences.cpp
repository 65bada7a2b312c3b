#include "support/vector/flat_sequences.h"

#include <algorithm>
#include <cstddef>

namespace sorvane::vector {

namespace {

/// Sets every output row to its bias, or to zeros.
void startRows(const Ipp32f* bias, int biasStep, Ipp32f* dst, const IppsConvSize_32f& size) {
    for (int o = 0; o < size.outRows; ++o, dst += size.outStep) {
        if (bias)
            ippsCopy_8u(reinterpret_cast<const Ipp8u*>(bias + std::ptrdiff_t{o} * biasStep),
                        reinterpret_cast<Ipp8u*>(dst),
                        size.outChannels * static_cast<int>(sizeof(Ipp32f)));
        else
            ippsZero_32f(dst, size.outChannels);
    }
}

/// Calls op(step, j, row) for each of `numSteps` rows of one side and each kernel position that
/// meets one of the other side's `numRows` rows.
template <class Op>
void forEachMeeting(const IppsConvSize_32f& size, int numSteps, int numRows, Op op) {
    std::ptrdiff_t position = size.firstRow;
    for (std::ptrdiff_t step = 0; step < numSteps; ++step, position += size.stride) {
        const std::ptrdiff_t first = std::max<std::ptrdiff_t>(-position, 0);
        const std::ptrdiff_t end = std::min<std::ptrdiff_t>(numRows - position, size.kernelRows);
        for (std::ptrdiff_t j = first; j < end; ++j)
            op(step, j, position + j);
    }
}

} // namespace

void convByFlatOperations(const Ipp32f* const* frames, const Ipp32f* weights, const Ipp32f* bias,
                          int biasStep, Ipp32f* dst, const IppsConvSize_32f& size, bool depthwise) {
    startRows(bias, biasStep, dst, size);
    const int factors = depthwise ? 1 : size.inChannels;
    const std::ptrdiff_t kernelSize = std::ptrdiff_t{factors} * size.outChannels;
    for (int k = 0; k < size.numFrames; ++k, weights += size.kernelRows * kernelSize)
        forEachMeeting(size, size.outRows, size.inRows,
                       [&](std::ptrdiff_t o, std::ptrdiff_t j, std::ptrdiff_t row) {
                           const Ipp32f* x = frames[k] + row * size.inStep;
                           const Ipp32f* kernel = weights + j * kernelSize;
                           Ipp32f* out = dst + o * size.outStep;
                           if (depthwise)
                               ippsAddProduct_32f(kernel, x, out, size.inChannels);
                           for (int i = 0; !depthwise && i < factors;
                                ++i, kernel += size.outChannels)
                               ippsAddProductC_32f(kernel, x[i], out, size.outChannels);
                       });
}

void convTransposedByFlatOperations(const Ipp32f* src, const Ipp32f* weights, Ipp32f* const* frames,
                                    const IppsConvSize_32f& size, bool depthwise) {
    const int factors = depthwise ? 1 : size.outChannels;
    const std::ptrdiff_t kernelSize = std::ptrdiff_t{factors} * size.inChannels;
    for (int k = 0; k < size.numFrames; ++k, weights += size.kernelRows * kernelSize)
        forEachMeeting(size, size.inRows, size.outRows,
                       [&](std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t row) {
                           const Ipp32f* x = src + i * size.inStep;
                           const Ipp32f* kernel = weights + j * kernelSize;
                           Ipp32f* out = frames[k] + row * size.outStep;
                           if (depthwise)
                               ippsAddProduct_32f(kernel, x, out, size.inChannels);
                           for (int o = 0; !depthwise && o < factors;
                                ++o, kernel += size.inChannels) {
                               Ipp32f sum;
                               ippsDotProd_32f(kernel, x, size.inChannels, &sum);
                               out[o] += sum;
                           }
                       });
}

void addRowByFlatOperations(const Ipp32f* src, const Ipp32f* row, Ipp32f* dst, int numRows,
                            int len) {
    for (int r = 0; r < numRows; ++r, src += len, dst += len)
        ippsAdd_32f(src, row, dst, len);
}

void denseByFlatOperations(const Ipp32f* src, const Ipp32f* weights, Ipp32f* dst, int numRows,
                           int channels) {
    for (int i = 0; i < numRows; ++i, dst += channels) {
        ippsZero_32f(dst, channels);
        for (std::ptrdiff_t j = 0; j < numRows; ++j, weights += channels)
            ippsAddProduct_32f(src + j * channels, weights, dst, channels);
    }
}

void bandsByFlatOperations(const Ipp32f* src, const IppsBand_32f* bands, int numBands, Ipp32f* dst,
                           int channels) {
    for (int b = 0; b < numBands; ++b, dst += channels) {
        const IppsBand_32f& band = bands[b];
        const Ipp32f* row = src + std::ptrdiff_t{band.start} * channels;
        ippsMulC_32f(row, band.weights[0], dst, channels);
        for (std::ptrdiff_t k = 1; k < band.length; ++k)
            ippsAddProductC_32f(row + k * channels, band.weights[k], dst, channels);
    }
}

void filterFramesByFlatOperations(const Ipp32f* const* frames, const Ipp32f* taps, int numTaps,
                                  Ipp32f* dst, int len) {
    ippsMulC_32f(frames[0], taps[0], dst, len);
    for (int k = 1; k < numTaps; ++k)
        ippsAddProductC_32f(frames[k], taps[k], dst, len);
}

void filterRowsByFlatOperations(const Ipp32f* src, const Ipp32f* taps, int numTaps, Ipp32f* dst,
                                int numRows, int channels) {
    const int middle = (numTaps - 1) / 2;
    ippsMulC_32f(src, taps[middle], dst, numRows * channels);
    for (int q = 0; q < numTaps; ++q) {
        const int shift = q - middle, rows = numRows - std::max(shift, -shift);
        if (shift == 0 || rows < 1)
            continue;
        ippsAddProductC_32f(src + std::ptrdiff_t{std::max(-shift, 0)} * channels, taps[q],
                            dst + std::ptrdiff_t{std::max(shift, 0)} * channels, rows * channels);
    }
}

} // namespace sorvane::vector
