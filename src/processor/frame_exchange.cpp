// How a spectrum becomes a tensor and the tensors of a network become spectra. Packing codes:
//
//   1  one row a bin: the magnitude
//   2  below lowBins four rows a bin: the positive parts of re, im, -re, -im; above as 1
//   4  one row a bin: the complex value in two columns
//   6  as 4, but from lowBins on one row for the mean of bandGroup bins, read back by interpolation
//
// Codes 1 and 2 have a column per channel; code 1 has no low bins.

#include "model/neural_model.h"
#include "support/vector/spectral.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <stdexcept>

namespace sorvane {

namespace {

using Complex = std::complex<float>;

[[noreturn]] void throwUnknownPacking() {
    throw std::runtime_error("Unknown packing format");
}

constexpr bool isComplexPacking(int packing) {
    return packing == 4 || packing == 6;
}

float part(Complex value, int index) {
    return index == 0 ? value.real() : value.imag();
}

/// The packing parameters of a model, and the spectrum's bins.
struct Layout {
    int packing;
    int bins;
    int packedBins;
    int lowBins;
    int bandGroup;

    /// How many of the first `count` bins lie below lowBins.
    [[nodiscard]] int low(int count) const { return std::clamp(lowBins, 0, count); }
};

/// Writes the rows of one column: magnitudes, with rectified parts below lowBins, and zeros where
/// the spectrum has no more bins.
void packReal(const Layout& layout, const Complex* x, float* out, int rows) {
    const int low = layout.low(layout.bins);
    const int lowRows = static_cast<int>(std::min<std::int64_t>(std::int64_t{4} * low, rows));
    for (int f = 0; f < lowRows; ++f) {
        const float value = part(x[f / 4], f % 2);
        out[f] = std::max(0.0F, f % 4 < 2 ? value : -value);
    }
    const int magnitudes = std::min(layout.bins - low, rows - lowRows);
    if (magnitudes > 0)
        check(vlHypot_32fc(x + low, out + lowRows, magnitudes));
    const int filled = lowRows + std::max(magnitudes, 0);
    zeroElements(out + filled, rows - filled);
}

/// Writes the rows of one channel, `step` values apart: complex values, from lowBins on the means of
/// groups where the packing has them.
void packComplex(const Layout& layout, const Complex* x, Complex* out, int rows, int step) {
    const bool grouped = layout.packing == 6;
    const int plain = std::min(grouped ? layout.low(layout.bins) : layout.bins, rows);
    if (step == 1)
        copyElements(x, out, plain);
    for (int f = 0; step != 1 && f < plain; ++f)
        out[std::ptrdiff_t{f} * step] = x[f];

    const auto size = static_cast<float>(layout.bandGroup);
    std::int64_t b = plain;
    for (int f = plain; f < rows; ++f, b += layout.bandGroup) {
        Complex mean;
        const auto end = std::min<std::int64_t>(b + layout.bandGroup, layout.bins);
        for (std::int64_t i = b; i < end; ++i)
            mean += x[i] / size;
        out[std::ptrdiff_t{f} * step] = mean;
    }
}

/// One past the last row, counted from the first, that reading back one column touches. There has to
/// be a bin to read back.
std::int64_t rowsTouched(const Layout& layout) {
    const int last = std::min(layout.bins, layout.packedBins) - 1;
    const std::int64_t low = layout.low(last + 1);
    switch (layout.packing) {
    case 1:
    case 2:
        return 4 * low + (last + 1 - low);
    case 6: {
        if (last < layout.lowBins)
            return last + 1;
        const auto rowOf = [&](std::int64_t b) {
            return low + (b - layout.lowBins) / layout.bandGroup -
                   (low - layout.lowBins) / layout.bandGroup;
        };
        // A group also touches the row of the next one, while that has bins.
        const std::int64_t lastWithNext =
            std::min<std::int64_t>(last, std::int64_t{layout.packedBins} - layout.bandGroup - 1);
        const std::int64_t rows = rowOf(last) + 1;
        return lastWithNext < low ? rows : std::max(rows, rowOf(lastWithNext) + 2);
    }
    default:
        return last + 1;
    }
}

/// Reads back one column of magnitudes and rectified parts.
void unpackReal(const Layout& layout, const float* p, Complex* out, int count) {
    const int low = layout.low(count);
    for (int b = 0; b < low; ++b, p += 4)
        out[b] = {p[0] - p[2], p[1] - p[3]};
    if (count > low)
        check(vlRealToCplx_32f(p, out + low, count - low));
}

/// Reads back one channel of complex values, `step` floats apart; groups by interpolation from one
/// to the next, the last one towards 0.
void unpackComplex(const Layout& layout, const float* p, std::ptrdiff_t step, Complex* out,
                   int count) {
    const int plain = layout.packing == 4 ? count : layout.low(count);
    if (step == 2)
        copyElements(reinterpret_cast<const Complex*>(p), out, plain);
    for (int b = 0; step != 2 && b < plain; ++b)
        out[b] = {p[b * step], p[b * step + 1]};
    p += plain * step;

    const std::int64_t above = std::int64_t{plain} - layout.lowBins;
    int j = plain < count ? static_cast<int>(above % layout.bandGroup) : 0;
    for (int b = plain; b < count; ++b) {
        const float a = static_cast<float>(j) / static_cast<float>(layout.bandGroup);
        const bool hasNext = std::int64_t{layout.bandGroup} + b < layout.packedBins;
        const float nextRe = hasNext ? p[step] : 0.0F;
        const float nextIm = hasNext ? p[step + 1] : 0.0F;
        out[b] = {(1.0F - a) * p[0] + a * nextRe, (1.0F - a) * p[1] + a * nextIm};
        if (++j == layout.bandGroup) {
            j = 0;
            p += step;
        }
    }
}

/// The level that the average of a row's magnitudes moves to with one more bin.
float nextLevel(float level, float magnitude) {
    return level * 0.98F + magnitude * 0.02F;
}

/// Fills the bins from `start` up to `end - 1` with the average level of all bins before each of
/// them, in which the last weighs the most.
void extendRow(Complex* row, int start, int end, SignalPool<Signal32>& scratch) {
    float level = 0.0F;
    if (start > 0) {
        Signal32 magnitudes = scratch.take(1, start);
        check(vlHypot_32fc(row, magnitudes.channelData(0), start));
        for (int b = 0; b < start; ++b)
            level = nextLevel(level, magnitudes.row(0)[b]);
        scratch.give(std::move(magnitudes));
    }
    for (int b = start; b < end; ++b) {
        row[b] = level;
        level = nextLevel(level, level);
    }
}

/// Reads back all rows of one frame of `columns` floats a row. Above the packing bins continue at
/// the average level of those below, or are 0.
void unpackFrame(const Layout& layout, const float* frame, int columns, bool extendBand,
                 SignalPool<Signal32>& scratch, ComplexSignal32& signal) {
    const int count = std::max(std::min(layout.bins, layout.packedBins), 0);
    const bool complex = isComplexPacking(layout.packing);
    const bool split = !complex && columns > 1 && count > 0;
    const auto numRows = static_cast<int>(rowsTouched(layout));
    Signal32 apart = split ? scratch.take(columns, numRows) : Signal32();
    if (split) {
        requireMemory(apart.row(0));
        check(vlDeinterleave_32f(frame, columns, apart.channelPointers().data(), numRows));
    }
    for (int r = 0; r < signal.channels; ++r) {
        Complex* out = signal.channelData(r);
        requireMemory(out);
        if (complex)
            unpackComplex(layout, frame + 2 * std::ptrdiff_t{r}, columns, out, count);
        else if (count > 0)
            unpackReal(layout, split ? apart.row(r) : frame, out, count);
        if (count == layout.bins)
            continue;
        if (extendBand)
            extendRow(out, count, layout.bins, scratch);
        else
            check(ippsSet_32fc({}, out + count, layout.bins - count));
    }
    scratch.give(std::move(apart));
}

} // namespace

template <typename T>
const std::vector<ComplexSignal32>& NeuralModel<T>::runModel(const ComplexSignal32& frame) {
    if (frameHistory.empty())
        frameHistory.emplace_back();
    // The node of the oldest frame serves the newest.
    frameHistory.splice(frameHistory.end(), frameHistory, frameHistory.begin());
    frameHistory.back() = frame;
    inputLayer->forward(packFrames(frameHistory), nullptr);
    outputLayer->collect(collected);
    unpackTensor(collected, frame.length);
    collected.data.reset(); // the layer that made it writes it again
    return unpacked;
}

template <typename T>
const Tensor<T>& NeuralModel<T>::packFrames(const std::list<ComplexSignal32>& frames) {
    packed.setShape({});
    if (frames.empty())
        return packed;
    const Layout layout{inputPacking, frames.front().length, packedBins, lowBins, bandGroup};
    const bool complex = isComplexPacking(inputPacking);
    if (!complex && inputPacking != 1 && inputPacking != 2)
        throwUnknownPacking();
    const int columns = (complex ? 2 : historyLength) * numInputChannels;
    // A layer that still holds the last frame keeps it.
    T* elements = packed.renew({1, packedRows, columns});
    if (elementCount(packed.shape) <= 0)
        return packed;
    requireMemory(elements);
    requireShape(inputPacking != 6 || bandGroup > 0);

    Signal32 rows = columns > 1 && !complex ? scratch.take(columns, packedRows) : Signal32();
    if (columns > 1 && !complex)
        requireMemory(rows.row(0));
    for (const ComplexSignal32& frame : frames) {
        const int channels = complex ? columns / 2 : columns;
        requireShape(channels <= frame.channels && layout.bins <= frame.length);
        for (int c = 0; c < channels; ++c) {
            requireMemory(frame.row(c));
            if (complex)
                packComplex(layout, frame.row(c), reinterpret_cast<Complex*>(elements) + c,
                            packedRows, channels);
            else
                packReal(layout, frame.row(c), columns > 1 ? rows.channelData(c) : elements,
                         packedRows);
        }
        if (!rows.isEmpty())
            check(vlInterleave_32f(rows.channelPointers().data(), columns, elements, packedRows));
    }
    scratch.give(std::move(rows));
    return packed;
}

template <typename T>
const std::vector<ComplexSignal32>& NeuralModel<T>::unpackTensor(const Tensor<T>& tensor,
                                                                 int bins) {
    unpacked.clear();
    if (elementCount(tensor.shape) == 0)
        return unpacked;
    const TensorDims dims = dimsOf(tensor);
    const Layout layout{outputPacking, bins, packedBins, lowBins, bandGroup};
    const bool complex = isComplexPacking(outputPacking);
    const int columnsPerRow = complex ? 2 : 1;
    const int rows = dims.channels / columnsPerRow;
    const int count = std::min(bins, packedBins);

    const std::int64_t frameStride = std::int64_t{packedRows} * dims.channels;
    if (rows > 0 && count > 0) {
        if (!complex && outputPacking != 1 && outputPacking != 2)
            throwUnknownPacking();
        requireShape(packedRows >= 0 && (outputPacking != 6 || bandGroup > 0));
        requireSize((dims.frames - 1) * frameStride + (rowsTouched(layout) - 1) * dims.channels +
                        std::int64_t{rows} * columnsPerRow,
                    tensor.numAvailable());
    }

    for (int t = 0; t < dims.frames; ++t) {
        ComplexSignal32 signal = results.take(rows, bins);
        if (bins > 0 && rows > 0)
            unpackFrame(layout, tensor.elements() + t * frameStride, dims.channels, extendBand,
                        scratch, signal);
        results.giveWhenFree(signal);
        unpacked.push_back(std::move(signal));
    }
    return unpacked;
}

template const std::vector<ComplexSignal32>& NeuralModel<float>::runModel(const ComplexSignal32&);
template const Tensor<float>& NeuralModel<float>::packFrames(const std::list<ComplexSignal32>&);
template const std::vector<ComplexSignal32>& NeuralModel<float>::unpackTensor(const Tensor<float>&,
                                                                              int);

} // namespace sorvane
