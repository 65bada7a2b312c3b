#pragma once

// Sums of a few rows, each times a weight: filters and bands. An element is the product of the first
// row, as mulC32f makes it, and then the multiply-adds of addProductC32f, kept in a register.

#include "support/vector/ipps_compound.h"

namespace {

/// Rows with the same step between any two.
struct SteppedRows {
    const float* first;
    std::ptrdiff_t step;
    const float* operator[](std::ptrdiff_t i) const { return first + i * step; }
};

/// Rows to add, each times its weight.
template <class Rows>
struct WeightedRows {
    Rows rows;
    const float* weights;
    std::ptrdiff_t count;
};

template <class Columns>
class WeightedSum {
public:
    explicit WeightedSum(const Columns& sumColumns) : columns(sumColumns) {}

    /// With the exact zeros and the copies of mulC32f.
    void start(const float* row, float weight) {
        forEach([&](auto n) {
            sums[n.value] = weight == 0.0f   ? F(0.0f)
                            : weight == 1.0f ? columns.load(row, n)
                                             : columns.load(row, n) * F(weight);
        });
    }

    template <class Rows>
    void add(const WeightedRows<Rows>& list, std::ptrdiff_t column) {
        for (std::ptrdiff_t i = 0; i < list.count; ++i) {
            const float* row = list.rows[i] + column;
            const F weight(list.weights[i]);
            forEach([&](auto n) {
                sums[n.value] = mulAdd(columns.load(row, n), weight, sums[n.value]);
            });
        }
    }

    void store(float* dst) const {
        forEach([&](auto n) { columns.store(dst, sums[n.value], n); });
    }

private:
    template <class Op>
    static void forEach(Op op) {
        unrolled<Columns::numVectors>(op);
    }

    Columns columns;
    F sums[Columns::numVectors];
};

/// dst = first * weight + the rows of the lists in turn.
template <class... Lists>
inline void sumWeightedRows(const float* first, float weight, float* dst, std::ptrdiff_t len,
                            const Lists&... lists) {
    std::ptrdiff_t column = 0;
    const auto computeColumns = [&](auto columns) {
        WeightedSum sum(columns);
        sum.start(first + column, weight);
        (sum.add(lists, column), ...);
        sum.store(dst + column);
    };
    for (; len - column >= 8 * W; column += 8 * W)
        computeColumns(WholeVectors<8>(8 * W));
    for (; len - column >= 2 * W; column += 2 * W)
        computeColumns(WholeVectors<2>(2 * W));
    const std::ptrdiff_t rest = len - column;
    if (rest > W)
        computeColumns(WholeVectors<2>(static_cast<int>(rest)));
    else if (rest == W)
        computeColumns(WholeVectors<1>(W));
    else if (rest > 0)
        computeColumns(FewColumns<false>(static_cast<int>(rest)));
}

template <class Columns>
inline void addRowColumns(const float* src, const float* row, float* dst, int numRows, int len,
                          int first, int count) {
    const Columns columns(count);
    F added[Columns::numVectors];
    unrolled<Columns::numVectors>([&](auto n) { added[n.value] = columns.load(row + first, n); });
    src += first;
    dst += first;
    for (int r = 0; r < numRows; ++r, src += len, dst += len) {
        F sums[Columns::numVectors];
        unrolled<Columns::numVectors>(
            [&](auto n) { sums[n.value] = columns.load(src, n) + added[n.value]; });
        unrolled<Columns::numVectors>([&](auto n) { columns.store(dst, sums[n.value], n); });
    }
}

inline IppStatus addRow32f(const float* src, const float* row, float* dst, int numRows, int len) {
    const int width = static_cast<int>(W);
    int first = 0;
    for (; len - first >= 2 * width; first += 2 * width)
        addRowColumns<WholeVectors<2>>(src, row, dst, numRows, len, first, 2 * width);
    if (len - first > width)
        addRowColumns<WholeVectors<2>>(src, row, dst, numRows, len, first, len - first);
    else if (len - first == width)
        addRowColumns<WholeVectors<1>>(src, row, dst, numRows, len, first, width);
    else if (len > first)
        addRowColumns<FewColumns<false>>(src, row, dst, numRows, len, first, len - first);
    return ippStsNoErr;
}

inline IppStatus filterFrames32f(const float* const* frames, const float* taps, int numTaps,
                                 float* dst, int len) {
    sumWeightedRows(frames[0], taps[0], dst, len,
                    WeightedRows<const float* const*>{frames + 1, taps + 1, numTaps - 1});
    return ippStsNoErr;
}

inline IppStatus filterRows32f(const float* src, const float* taps, int numTaps, float* dst,
                               int numRows, int channels) {
    const std::ptrdiff_t middle = (numTaps - 1) / 2, step = channels;
    // Rows from `begin` to `end`, to each of which the taps from `first` to `last` reach.
    const auto filter = [&](std::ptrdiff_t begin, std::ptrdiff_t end, std::ptrdiff_t first,
                            std::ptrdiff_t last) {
        const float* row = src + begin * step;
        sumWeightedRows(
            row, taps[middle], dst + begin * step, (end - begin) * step,
            WeightedRows<SteppedRows>{
                {row + (middle - first) * step, -step}, taps + first, middle - first},
            WeightedRows<SteppedRows>{{row - step, -step}, taps + middle + 1, last - middle});
    };
    const std::ptrdiff_t innerBegin = numTaps - 1 - middle, innerEnd = numRows - middle;
    for (std::ptrdiff_t row = 0; row < numRows;) {
        if (row == innerBegin && innerBegin < innerEnd) {
            filter(innerBegin, innerEnd, 0, numTaps - 1);
            row = innerEnd;
            continue;
        }
        const std::ptrdiff_t first = row + middle - numRows + 1, last = row + middle;
        filter(row, row + 1, first > 0 ? first : 0, last < numTaps - 1 ? last : numTaps - 1);
        ++row;
    }
    return ippStsNoErr;
}

/// Bands of a single channel, where the rows are too short for vectors.
inline void bandsOfOne(const float* src, const IppsBand_32f* bands, int numBands, float* dst) {
    for (int b = 0; b < numBands; ++b) {
        const float* row = src + bands[b].start;
        const float* weights = bands[b].weights;
        float sum = weights[0] == 0.0f ? 0.0f : weights[0] == 1.0f ? row[0] : row[0] * weights[0];
        for (int i = 1; i < bands[b].length; ++i)
            sum =
                fusesProducts ? __builtin_fmaf(row[i], weights[i], sum) : row[i] * weights[i] + sum;
        dst[b] = sum;
    }
}

inline IppStatus bands32f(const float* src, const IppsBand_32f* bands, int numBands, float* dst,
                          int channels) {
    if (channels == 1) {
        bandsOfOne(src, bands, numBands, dst);
        return ippStsNoErr;
    }
    for (int b = 0; b < numBands; ++b, dst += channels) {
        const IppsBand_32f& band = bands[b];
        const float* row = src + std::ptrdiff_t{band.start} * channels;
        sumWeightedRows(row, band.weights[0], dst, channels,
                        WeightedRows<SteppedRows>{
                            {row + channels, channels}, band.weights + 1, band.length - 1});
    }
    return ippStsNoErr;
}

} // namespace
