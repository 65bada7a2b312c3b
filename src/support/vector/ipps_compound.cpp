// The compound operations: each checks its arguments and calls the kernels of the form in use, for
// one panel of weights after another.

#include "support/vector/ipps_compound.h"
#include "support/vector/dispatch.h"
#include "support/vector/flat_sequences.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <initializer_list>

using sorvane::vector::Correlation;
using sorvane::vector::kernels;

namespace {

using Index = std::ptrdiff_t;

bool usesFlatSequences() {
    return sorvane::vector::usesFlatSequences.load(std::memory_order_relaxed);
}

/// The rows of the matrix of weights of a convolution; past the range of int where there are more.
std::int64_t weightRows(const IppsConvSize_32f& size, bool depthwise) {
    const std::int64_t positions = std::int64_t{size.numFrames} * size.kernelRows;
    return depthwise || positions > INT_MAX ? positions : positions * size.inChannels;
}

bool allPositive(std::initializer_list<int> sizes) {
    return std::min(sizes) >= 1;
}

bool hasProducts(const IppsConvSize_32f& size, bool depthwise) {
    return allPositive({size.inRows, size.inStep, size.inChannels, size.outRows, size.outStep,
                        size.numFrames, size.kernelRows, size.stride}) &&
           weightRows(size, depthwise) <= INT_MAX;
}

template <class T>
bool anyNull(T* const* blocks, int count) {
    return std::find(blocks, blocks + count, nullptr) != blocks + count;
}

void correlate(const Correlation& correlation, bool depthwise) {
    if (depthwise)
        kernels().correlateByColumn(&correlation);
    else
        kernels().correlateRows(&correlation);
}

/// Calls op(panel, its first column, its width) for the panels of a matrix.
template <class Op>
void forEachPanel(const Ipp32f* weights, std::int64_t rows, int columns, int panelWidth, Op op) {
    for (int first = 0; first < columns; first += panelWidth)
        op(weights + first * rows, first, std::min(panelWidth, columns - first));
}

/// Sets the columns of every output row from the given one on to their bias, or to zeros.
void startColumns(const Ipp32f* bias, int biasStep, Ipp32f* dst, const IppsConvSize_32f& size,
                  int firstColumn) {
    for (Index o = 0; o < size.outRows; ++o)
        for (int c = firstColumn; c < size.outChannels; ++c)
            dst[o * size.outStep + c] = bias ? bias[o * biasStep + c] : 0.0f;
}

IppStatus checkConv(const Ipp32f* const* frames, const Ipp32f* weights, int panelWidth,
                    int biasStep, const Ipp32f* dst, const IppsConvSize_32f* size, bool depthwise) {
    if (dst == nullptr || size == nullptr)
        return ippStsNullPtrErr;
    const bool adds = size->numFrames != 0;
    if (adds && (frames == nullptr || weights == nullptr))
        return ippStsNullPtrErr;
    if (!allPositive({size->outRows, size->outStep, size->outChannels}) || biasStep < 0 ||
        panelWidth < 0)
        return ippStsSizeErr;
    if (!adds)
        return ippStsNoErr;
    if (!hasProducts(*size, depthwise) || (depthwise && size->inChannels > size->outChannels))
        return ippStsSizeErr;
    return anyNull(frames, size->numFrames) ? ippStsNullPtrErr : ippStsNoErr;
}

IppStatus conv(const Ipp32f* const* frames, const Ipp32f* weights, int panelWidth,
               const Ipp32f* bias, int biasStep, Ipp32f* dst, const IppsConvSize_32f& size,
               bool depthwise) {
    if (panelWidth == 0) {
        sorvane::vector::convByFlatOperations(frames, weights, bias, biasStep, dst, size,
                                              depthwise);
        return ippStsNoErr;
    }
    int computed = 0; // columns that have products
    if (size.numFrames > 0)
        computed = depthwise ? size.inChannels : size.outChannels;
    if (computed < size.outChannels)
        startColumns(bias, biasStep, dst, size, computed);
    forEachPanel(weights, weightRows(size, depthwise), size.outChannels, panelWidth,
                 [&](const Ipp32f* panel, int first, int width) {
                     if (first >= computed)
                         return;
                     const Correlation correlation = {
                         .frames = frames,
                         .numFrames = size.numFrames,
                         .numRows = size.inRows,
                         .rowStep = size.inStep,
                         .firstFactor = depthwise ? first : 0,
                         .weights = panel,
                         .weightStep = width,
                         .positions = size.kernelRows,
                         .channels = depthwise ? 1 : size.inChannels,
                         .init = bias ? bias + first : nullptr,
                         .initStep = biasStep,
                         .out = dst + first,
                         .outStep = size.outStep,
                         .outRows = size.outRows,
                         .columns = std::min(width, computed - first),
                         .addsToOutput = false,
                         .firstRow = size.firstRow,
                         .stride = size.stride,
                     };
                     correlate(correlation, depthwise);
                 });
    return ippStsNoErr;
}

IppStatus checkTransposed(const Ipp32f* src, const Ipp32f* weights, int panelWidth,
                          Ipp32f* const* frames, const IppsConvSize_32f* size, bool depthwise) {
    if (src == nullptr || weights == nullptr || frames == nullptr || size == nullptr)
        return ippStsNullPtrErr;
    if (!hasProducts(*size, depthwise) || size->outChannels < 1 || panelWidth < 0)
        return ippStsSizeErr;
    return anyNull(frames, size->numFrames) ? ippStsNullPtrErr : ippStsNoErr;
}

/// The smallest n for which start + n * step is at least `limit`, for a positive step.
Index firstAtLeast(Index limit, Index start, Index step) {
    const Index distance = limit - start;
    return distance > 0 ? (distance - 1) / step + 1 : -(-distance / step);
}

/// Adds the dot products of kernel position `position`, whose weights a panel begins with, to the
/// columns that the panel has.
void addPosition(const Ipp32f* src, const Ipp32f* weights, int width, int position, Ipp32f* out,
                 const IppsConvSize_32f& size) {
    const Index firstRow = Index{size.firstRow} + position;
    const Index begin = std::max<Index>(firstAtLeast(0, firstRow, size.stride), 0);
    const Index end =
        std::min<Index>(firstAtLeast(size.outRows, firstRow, size.stride), size.inRows);
    if (begin >= end)
        return;
    const Correlation correlation = {
        .frames = &src,
        .numFrames = 1,
        .numRows = size.inRows,
        .rowStep = size.inStep,
        .firstFactor = 0,
        .weights = weights,
        .weightStep = width,
        .positions = 1,
        .channels = size.inChannels,
        .init = nullptr,
        .initStep = 0,
        .out = out + (firstRow + begin * size.stride) * size.outStep,
        .outStep = Index{size.stride} * size.outStep,
        .outRows = static_cast<int>(end - begin),
        .columns = width,
        .addsToOutput = true,
        .firstRow = static_cast<int>(begin),
        .stride = 1,
    };
    kernels().correlateRows(&correlation);
}

/// Adds the products of every stride-th kernel position from `position` on to the output rows that
/// they meet, which are every stride-th too: a correlation with the kernel reversed.
void addPositionsByColumn(const Ipp32f* src, const Ipp32f* weights, int width, int position,
                          Ipp32f* out, const IppsConvSize_32f& size) {
    const int numPositions = (size.kernelRows - position - 1) / size.stride + 1;
    const Index firstRow = Index{size.firstRow} + position;
    const Index begin = std::max<Index>(firstAtLeast(0, firstRow, size.stride), 0);
    const Index end = std::min<Index>(firstAtLeast(size.outRows, firstRow, size.stride),
                                      Index{size.inRows} + numPositions - 1);
    if (begin >= end)
        return;
    const Index last = position + Index{numPositions - 1} * size.stride;
    Ipp32f* const rows = out + (firstRow + begin * size.stride) * size.outStep;
    const Index rowStep = Index{size.stride} * size.outStep;
    const Correlation correlation = {
        .frames = &src,
        .numFrames = 1,
        .numRows = size.inRows,
        .rowStep = size.inStep,
        .firstFactor = 0,
        .weights = weights + last * width,
        .weightStep = -Index{size.stride} * width,
        .positions = numPositions,
        .channels = 1,
        .init = rows,
        .initStep = rowStep,
        .out = rows,
        .outStep = rowStep,
        .outRows = static_cast<int>(end - begin),
        .columns = width,
        .addsToOutput = false,
        .firstRow = static_cast<int>(begin - numPositions + 1),
        .stride = 1,
    };
    kernels().correlateByColumn(&correlation);
}

IppStatus convTransposed(const Ipp32f* src, const Ipp32f* weights, int panelWidth,
                         Ipp32f* const* frames, const IppsConvSize_32f& size, bool depthwise) {
    if (panelWidth == 0) {
        sorvane::vector::convTransposedByFlatOperations(src, weights, frames, size, depthwise);
        return ippStsNoErr;
    }
    const std::int64_t rows = weightRows(size, depthwise);
    const std::int64_t rowsPerFrame = rows / size.numFrames;
    const auto addFrame = [&](int k, const Ipp32f* panel, int first, int width) {
        const Ipp32f* kernel = panel + k * rowsPerFrame * width;
        if (depthwise) {
            for (int j = 0; j < std::min(size.stride, size.kernelRows); ++j)
                addPositionsByColumn(src + first, kernel, width, j, frames[k] + first, size);
            return;
        }
        // An output row adds what the input rows make in their order, which meet it with falling
        // positions.
        for (int j = size.kernelRows - 1; j >= 0; --j)
            addPosition(src, kernel + Index{j} * size.inChannels * width, width, j,
                        frames[k] + first, size);
    };
    forEachPanel(weights, rows, depthwise ? size.inChannels : size.outChannels, panelWidth,
                 [&](const Ipp32f* panel, int first, int width) {
                     for (int k = 0; k < size.numFrames; ++k)
                         addFrame(k, panel, first, width);
                 });
    return ippStsNoErr;
}

} // namespace

int ippsPanelWidth(int columns) {
    if (usesFlatSequences())
        return 0;
    // As few panels as the form's widest allows, about equally wide, of whole vectors.
    const int lanes = kernels().lanes;
    const int vectors = std::max(columns - 1, 0) / lanes + 1;
    const int numPanels = (vectors - 1) / (kernels().panelWidth / lanes) + 1;
    return ((vectors - 1) / numPanels + 1) * lanes;
}

IppStatus ippsConv_32f(const Ipp32f* const* frames, const Ipp32f* weights, int panelWidth,
                       const Ipp32f* bias, int biasStep, Ipp32f* dst,
                       const IppsConvSize_32f* size) {
    const IppStatus status = checkConv(frames, weights, panelWidth, biasStep, dst, size, false);
    return status != ippStsNoErr
               ? status
               : conv(frames, weights, panelWidth, bias, biasStep, dst, *size, false);
}

IppStatus ippsConvDepthwise_32f(const Ipp32f* const* frames, const Ipp32f* weights, int panelWidth,
                                const Ipp32f* bias, int biasStep, Ipp32f* dst,
                                const IppsConvSize_32f* size) {
    const IppStatus status = checkConv(frames, weights, panelWidth, biasStep, dst, size, true);
    return status != ippStsNoErr
               ? status
               : conv(frames, weights, panelWidth, bias, biasStep, dst, *size, true);
}

IppStatus ippsConvTransposed_32f(const Ipp32f* src, const Ipp32f* weights, int panelWidth,
                                 Ipp32f* const* frames, const IppsConvSize_32f* size) {
    const IppStatus status = checkTransposed(src, weights, panelWidth, frames, size, false);
    return status != ippStsNoErr ? status
                                 : convTransposed(src, weights, panelWidth, frames, *size, false);
}

IppStatus ippsConvTransposedDepthwise_32f(const Ipp32f* src, const Ipp32f* weights, int panelWidth,
                                          Ipp32f* const* frames, const IppsConvSize_32f* size) {
    const IppStatus status = checkTransposed(src, weights, panelWidth, frames, size, true);
    return status != ippStsNoErr ? status
                                 : convTransposed(src, weights, panelWidth, frames, *size, true);
}

IppStatus ippsAddRow_32f(const Ipp32f* src, const Ipp32f* row, Ipp32f* dst, int numRows, int len) {
    if (src == nullptr || row == nullptr || dst == nullptr)
        return ippStsNullPtrErr;
    if (!allPositive({numRows, len}))
        return ippStsSizeErr;
    if (!usesFlatSequences())
        return kernels().addRow32f(src, row, dst, numRows, len);
    sorvane::vector::addRowByFlatOperations(src, row, dst, numRows, len);
    return ippStsNoErr;
}

IppStatus ippsDense_32f(const Ipp32f* src, const Ipp32f* weights, Ipp32f* dst, int numRows,
                        int channels) {
    if (src == nullptr || weights == nullptr || dst == nullptr)
        return ippStsNullPtrErr;
    if (!allPositive({numRows, channels}) || std::int64_t{numRows} * numRows > INT_MAX)
        return ippStsSizeErr;
    if (usesFlatSequences()) {
        sorvane::vector::denseByFlatOperations(src, weights, dst, numRows, channels);
        return ippStsNoErr;
    }
    // The weights are the rows that the output rows stride over, the input what they are times.
    const Correlation correlation = {
        .frames = &weights,
        .numFrames = 1,
        .numRows = numRows * numRows,
        .rowStep = channels,
        .firstFactor = 0,
        .weights = src,
        .weightStep = channels,
        .positions = numRows,
        .channels = 1,
        .init = nullptr,
        .initStep = 0,
        .out = dst,
        .outStep = channels,
        .outRows = numRows,
        .columns = channels,
        .addsToOutput = false,
        .firstRow = 0,
        .stride = numRows,
    };
    kernels().correlateByColumn(&correlation);
    return ippStsNoErr;
}

IppStatus ippsBands_32f(const Ipp32f* src, const IppsBand_32f* bands, int numBands, Ipp32f* dst,
                        int channels) {
    if (src == nullptr || bands == nullptr || dst == nullptr)
        return ippStsNullPtrErr;
    if (!allPositive({numBands, channels}))
        return ippStsSizeErr;
    const auto* const end = bands + numBands;
    if (std::any_of(bands, end, [](const IppsBand_32f& band) { return band.weights == nullptr; }))
        return ippStsNullPtrErr;
    if (std::any_of(bands, end,
                    [](const IppsBand_32f& band) { return band.start < 0 || band.length < 1; }))
        return ippStsSizeErr;
    if (!usesFlatSequences())
        return kernels().bands32f(src, bands, numBands, dst, channels);
    sorvane::vector::bandsByFlatOperations(src, bands, numBands, dst, channels);
    return ippStsNoErr;
}

IppStatus ippsFilterFrames_32f(const Ipp32f* const* frames, const Ipp32f* taps, int numTaps,
                               Ipp32f* dst, int len) {
    if (frames == nullptr || taps == nullptr || dst == nullptr)
        return ippStsNullPtrErr;
    if (!allPositive({numTaps, len}))
        return ippStsSizeErr;
    if (anyNull(frames, numTaps))
        return ippStsNullPtrErr;
    if (!usesFlatSequences())
        return kernels().filterFrames32f(frames, taps, numTaps, dst, len);
    sorvane::vector::filterFramesByFlatOperations(frames, taps, numTaps, dst, len);
    return ippStsNoErr;
}

IppStatus ippsFilterRows_32f(const Ipp32f* src, const Ipp32f* taps, int numTaps, Ipp32f* dst,
                             int numRows, int channels) {
    if (src == nullptr || taps == nullptr || dst == nullptr)
        return ippStsNullPtrErr;
    if (!allPositive({numTaps, numRows, channels}) || std::int64_t{numRows} * channels > INT_MAX)
        return ippStsSizeErr;
    if (!usesFlatSequences())
        return kernels().filterRows32f(src, taps, numTaps, dst, numRows, channels);
    sorvane::vector::filterRowsByFlatOperations(src, taps, numTaps, dst, numRows, channels);
    return ippStsNoErr;
}
