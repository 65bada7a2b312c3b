// How a spectrum becomes a tensor and the tensors of a network become spectra. Packing codes:
//
//   1  one row a bin: the magnitude
//   2  below lowBins four rows a bin: the positive parts of re, im, -re, -im; above as 1
//   4  one row a bin: the complex value in two columns
//   6  as 4, but from lowBins on one row for the mean of bandGroup bins, read back by interpolation
//
// Codes 1 and 2 have a column per channel; code 1 has no low bins.

#include "model/neural_model.h"
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

    /// Rows of the packing that bins below lowBins take before the row of bin `b`.
    [[nodiscard]] int low(int b) const { return std::clamp(lowBins, 0, b); }
};

/// Writes the rows of one column, `step` floats apart: magnitudes, with rectified parts below
/// lowBins.
void packReal(const Layout& layout, const Complex* x, float* out, int rows, int step) {
    for (int f = 0, b = 0; f < rows; ++f, out += step) {
        if (b >= layout.bins) {
            *out = 0.0F;
        } else if (b < layout.lowBins) {
            const int q = f % 4;
            const float value = part(x[b], q % 2);
            *out = std::max(0.0F, q < 2 ? value : -value);
            b += q == 3 ? 1 : 0;
        } else {
            *out = std::hypot(x[b].real(), x[b].imag());
            ++b;
        }
    }
}

/// Writes the rows of one column: real (0) or imaginary (1) parts, in means of groups from lowBins
/// on.
void packComplex(const Layout& layout, const Complex* x, int index, float* out, int rows,
                 int step) {
    const bool grouped = layout.packing == 6;
    for (int f = 0, b = 0; f < rows; ++f, out += step) {
        if (b >= layout.bins) {
            *out = 0.0F;
        } else if (!grouped || b < layout.lowBins) {
            *out = part(x[b], index);
            ++b;
        } else {
            float mean = 0.0F;
            for (int i = b; i < std::min(b + layout.bandGroup, layout.bins); ++i)
                mean += part(x[i], index) / static_cast<float>(layout.bandGroup);
            *out = mean;
            b += layout.bandGroup;
        }
    }
}

/// One past the last row, counted from the first, that reading back one column touches.
std::int64_t rowsTouched(const Layout& layout) {
    const int last = std::min(layout.bins, layout.packedBins) - 1;
    if (last < 0)
        return 0;
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

/// Reads back one column from `p` on, whose rows stand `step` floats apart. With `extendBand` bins
/// above the packing continue at the average level of the bins below.
void unpackColumn(const Layout& layout, const float* p, std::ptrdiff_t step, bool extendBand,
                  Complex* out) {
    float running = 0.0F;
    for (int b = 0; b < layout.bins; ++b) {
        Complex v;
        if (b >= layout.packedBins) {
            v = {running, 0.0F};
        } else if (!isComplexPacking(layout.packing)) {
            if (b < layout.lowBins) {
                v = {p[0] - p[2 * step], p[step] - p[3 * step]};
                p += 4 * step;
            } else {
                v = {p[0], 0.0F};
                p += step;
            }
        } else if (layout.packing == 4 || b < layout.lowBins) {
            v = {p[0], p[1]};
            p += step;
        } else {
            const int j = (b - layout.lowBins) % layout.bandGroup;
            const float a = static_cast<float>(j) / static_cast<float>(layout.bandGroup);
            const bool hasNext = layout.bandGroup + b < layout.packedBins;
            const float nextRe = hasNext ? p[step] : 0.0F;
            const float nextIm = hasNext ? p[step + 1] : 0.0F;
            v = {(1.0F - a) * p[0] + a * nextRe, (1.0F - a) * p[1] + a * nextIm};
            if (j == layout.bandGroup - 1)
                p += step;
        }
        if (extendBand)
            running = running * 0.98F + std::hypot(v.real(), v.imag()) * 0.02F;
        out[b] = v;
    }
}

} // namespace

template <typename T>
std::vector<ComplexSignal32> NeuralModel<T>::runModel(const ComplexSignal32& frame) {
    if (!frameHistory.empty()) {
        // The node of the oldest frame serves the newest.
        frameHistory.splice(frameHistory.end(), frameHistory, frameHistory.begin());
        frameHistory.back() = frame;
    }
    const Tensor<T> packed = packFrames({frameHistory.begin(), frameHistory.end()});
    inputLayer->forward(packed, nullptr);
    return unpackTensor(outputLayer->collect(), frame.length);
}

template <typename T>
Tensor<T> NeuralModel<T>::packFrames(const std::vector<ComplexSignal32>& frames) const {
    if (frames.empty())
        return {};
    const Layout layout{inputPacking, frames.front().length, packedBins, lowBins, bandGroup};
    const bool complex = isComplexPacking(inputPacking);
    const int columns = (complex ? 2 : historyLength) * numInputChannels;
    Tensor<T> tensor({1, packedRows, columns});
    if (elementCount(tensor.shape) <= 0)
        return tensor;
    T* elements = tensor.writableElements();
    requireMemory(elements);
    requireShape(inputPacking != 6 || bandGroup > 0);

    for (const ComplexSignal32& frame : frames) {
        for (int c = 0; c < columns; ++c) {
            if (!complex && inputPacking != 1 && inputPacking != 2)
                throwUnknownPacking();
            const int row = complex ? c / 2 : c;
            requireShape(row < frame.channels && layout.bins <= frame.length);
            requireMemory(frame.row(row));
            if (complex)
                packComplex(layout, frame.row(row), c % 2, elements + c, packedRows, columns);
            else
                packReal(layout, frame.row(row), elements + c, packedRows, columns);
        }
    }
    return tensor;
}

template <typename T>
std::vector<ComplexSignal32> NeuralModel<T>::unpackTensor(const Tensor<T>& tensor, int bins) const {
    if (elementCount(tensor.shape) == 0)
        return {};
    const TensorDims dims = dimsOf(tensor);
    const Layout layout{outputPacking, bins, packedBins, lowBins, bandGroup};
    const bool complex = isComplexPacking(outputPacking);
    const int columnsPerRow = complex ? 2 : 1;
    const int rows = dims.channels / columnsPerRow;

    const std::int64_t frameStride = std::int64_t{packedRows} * dims.channels;
    if (rows > 0 && std::min(bins, packedBins) > 0) {
        if (!complex && outputPacking != 1 && outputPacking != 2)
            throwUnknownPacking();
        requireShape(packedRows >= 0 && (outputPacking != 6 || bandGroup > 0));
        requireSize((dims.frames - 1) * frameStride + (rowsTouched(layout) - 1) * dims.channels +
                        std::int64_t{rows} * columnsPerRow,
                    tensor.numAvailable());
    }

    std::vector<ComplexSignal32> signals;
    signals.reserve(static_cast<std::size_t>(dims.frames));
    for (int t = 0; t < dims.frames; ++t) {
        ComplexSignal32& signal = signals.emplace_back(rows, bins);
        for (int r = 0; bins > 0 && r < rows; ++r) {
            Complex* out = signal.channelData(r);
            requireMemory(out);
            unpackColumn(layout,
                         tensor.elements() + t * frameStride + std::int64_t{r} * columnsPerRow,
                         dims.channels, extendBand, out);
        }
    }
    return signals;
}

template std::vector<ComplexSignal32> NeuralModel<float>::runModel(const ComplexSignal32&);
template Tensor<float> NeuralModel<float>::packFrames(const std::vector<ComplexSignal32>&) const;
template std::vector<ComplexSignal32> NeuralModel<float>::unpackTensor(const Tensor<float>&,
                                                                       int) const;

} // namespace sorvane
