#pragma once

// Correlations, cut into tiles.

#include "support/vector/kernels/correlation.h"

namespace {

using sorvane::vector::Correlation;

template <int... R>
struct RowCounts {};

template <int Count, int... R>
struct RowCountsUpTo : RowCountsUpTo<Count - 1, Count, R...> {};
template <int... R>
struct RowCountsUpTo<0, R...> {
    using Type = RowCounts<R...>;
};

template <class T>
struct As {
    using Type = T;
};

/// The tiles of one set of columns, by their number of rows.
template <class Factors, class Columns, class Counts>
struct Tiles;
template <class Factors, class Columns, int... R>
struct Tiles<Factors, Columns, RowCounts<R...>> {
    static constexpr void (*ofRows[])(const TileSum&, const TileRows&, int columnCount,
                                      int numTiles) = {nullptr,
                                                       computeTiles<Factors, Columns, R>...};
};

/// Walks down the rows of a correlation, over columns that make one tile.
template <class Factors, class Columns>
class TileWalk {
public:
    TileWalk(const Correlation& correlation, int firstColumn, int columnCount)
        : c(correlation), column(firstColumn), count(columnCount) {}

    void run() const {
        if (!hasAdjacentFactors())
            return addByPosition(0, c.outRows);
        int innerBegin = 0, innerEnd = endOfInnerRows();
        while (innerBegin < innerEnd && rowOf(innerBegin) < 0)
            ++innerBegin;
        const bool longSums = std::ptrdiff_t{c.numFrames} * c.positions * c.channels >= longSum;
        if (longSums)
            extendEdges(innerBegin, innerEnd);
        if (innerBegin >= innerEnd)
            innerBegin = innerEnd = c.outRows;
        addEdgeRows(0, innerBegin, longSums);
        addRows(innerBegin, innerEnd, {0, c.numFrames}, {0, c.positions}, c.init, c.initStep);
        addEdgeRows(innerEnd, c.outRows, longSums);
    }

private:
    static constexpr int maxRows =
        tileVectors / Columns::numVectors < 12 ? tileVectors / Columns::numVectors : 12;

    /// Products of a row from which on edge rows go by position, in blocks with their neighbours: a
    /// row by itself keeps its multiply-adds waiting for each other.
    static constexpr int longSum = 256;

    struct Range {
        int begin, end;
        bool operator==(const Range&) const = default;
    };

    /// The row of the frames that kernel position 0 of an output row meets.
    std::ptrdiff_t rowOf(std::ptrdiff_t outRow) const { return c.firstRow + outRow * c.stride; }

    /// Whether the factors of a position follow those of the one before.
    bool hasAdjacentFactors() const {
        return Factors::byColumn || c.positions == 1 || c.rowStep == c.channels;
    }

    /// The first output row that reaches past the frames' end.
    int endOfInnerRows() const {
        const std::ptrdiff_t room = std::ptrdiff_t{c.numRows} - c.positions - c.firstRow;
        const std::ptrdiff_t end = room < 0 ? 0 : room / c.stride + 1;
        return end < c.outRows ? static_cast<int>(end) : c.outRows;
    }

    /// Makes whole blocks of the rows at either edge, if there are any.
    void extendEdges(int& innerBegin, int& innerEnd) const {
        const auto wholeBlocks = [](int rows) { return (rows + maxRows - 1) / maxRows * maxRows; };
        innerBegin = wholeBlocks(innerBegin);
        innerEnd = c.outRows - wholeBlocks(c.outRows - innerEnd);
    }

    /// Rows of which some meet some of the positions only.
    void addEdgeRows(int begin, int end, bool longSums) const {
        if (longSums)
            return addByPosition(begin, end);
        for (int row = begin; row < end; ++row) {
            const std::ptrdiff_t before = -rowOf(row), after = c.numRows - rowOf(row);
            addRows(row, row + 1, {0, c.numFrames},
                    {before > 0 ? clipped(before) : 0, clipped(after)}, c.init, c.initStep);
        }
    }

    int clipped(std::ptrdiff_t position) const {
        return position < 0 ? 0 : position < c.positions ? static_cast<int>(position) : c.positions;
    }

    /// Takes each position of each frame for those rows that meet it, with the sums in memory in
    /// between.
    void addByPosition(int begin, int end) const {
        const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(float);
        for (int o = begin; c.init != c.out && o < end; ++o) {
            float* const row = c.out + o * c.outStep + column;
            if (c.init)
                std::memcpy(row, c.init + o * c.initStep + column, bytes);
            else
                std::memset(row, 0, bytes);
        }
        for (int k = 0; k < c.numFrames; ++k) {
            Range rows = {end, end};
            for (int j = 0; j < c.positions;) {
                // Both ends of the rows that meet a position move down as positions go up.
                rows = rowsMeeting(j, begin, rows);
                int next = j + 1;
                while (next < c.positions && hasAdjacentFactors() &&
                       rowsMeeting(next, begin, rows) == rows)
                    ++next;
                addRows(rows.begin, rows.end, {k, k + 1}, {j, next}, c.out, c.outStep);
                j = next;
            }
        }
    }

    Range rowsMeeting(int position, int begin, Range before) const {
        Range rows = before;
        while (rows.begin > begin && rowOf(rows.begin - 1) + position >= 0)
            --rows.begin;
        while (rows.end > begin && rowOf(rows.end - 1) + position >= c.numRows)
            --rows.end;
        return rows;
    }

    /// Adds the products of some frames and positions to rows, in blocks of nearly equal height, as
    /// low ones don't fill the pipelines: the last ones have a row more than the others.
    void addRows(int begin, int end, Range frames, Range positions, const float* init,
                 std::ptrdiff_t initStep) const {
        if (begin >= end)
            return;
        const int numBlocks = (end - begin - 1) / maxRows + 1;
        const int height = (end - begin) / numBlocks, numHigher = (end - begin) % numBlocks;
        const int firstHigher = end - numHigher * (height + 1);
        addBlocks(begin, height, numBlocks - numHigher, frames, positions, init, initStep);
        if (numHigher > 0)
            addBlocks(firstHigher, height + 1, numHigher, frames, positions, init, initStep);
    }

    void addBlocks(int begin, int height, int numBlocks, Range frames, Range positions,
                   const float* init, std::ptrdiff_t initStep) const {
        const int numPositions =
            positions.end > positions.begin ? positions.end - positions.begin : 0;
        const std::ptrdiff_t firstPosition =
            std::ptrdiff_t{frames.begin} * c.positions + positions.begin;
        const std::ptrdiff_t positionWeights = c.channels * c.weightStep;
        const TileSum sum = {
            .frames = c.frames + frames.begin,
            .numFrames = numPositions > 0 ? frames.end - frames.begin : 0,
            .offset = (rowOf(begin) + positions.begin) * c.rowStep + c.firstFactor +
                      (Factors::byColumn ? column : 0),
            .rowStep = c.stride * c.rowStep,
            .numFactors = numPositions * c.channels,
            .factorStep = c.rowStep,
            .weights = c.weights + firstPosition * positionWeights + column,
            .weightStep = c.weightStep,
            .skippedWeights = (c.positions - numPositions) * positionWeights,
        };
        const TileRows rows = {
            .init = init ? init + begin * initStep + column : nullptr,
            .initStep = initStep,
            .out = c.out + begin * c.outStep + column,
            .outStep = c.outStep,
            .addsToOutput = c.addsToOutput,
        };
        using Counts = typename RowCountsUpTo<maxRows>::Type;
        Tiles<Factors, Columns, Counts>::ofRows[height](sum, rows, count, numBlocks);
    }

    const Correlation& c;
    int column;
    int count;
};

template <class Factors>
void correlateColumns(const Correlation& c, int first, int count) {
    const auto walk = [&](auto columns) {
        TileWalk<Factors, typename decltype(columns)::Type>(c, first, count).run();
    };
    constexpr bool padded = !Factors::byColumn;
    if constexpr (halvesVectors) {
        constexpr int half = lanesOf<Half>;
        if (count < half)
            return walk(As<FewColumns<padded, Half>>{});
        if (count == half)
            return walk(As<WholeVectors<1, Half>>{});
        if (count > W && count <= W + half)
            return walk(As<WholeVectors<2, Half>>{});
        if (count > 2 * W && count <= 2 * W + half)
            return walk(As<WholeVectors<3, Half>>{});
    }
    if constexpr (W > 1) {
        if (count < W)
            return walk(As<FewColumns<padded>>{});
    }
    if (count <= W)
        walk(As<WholeVectors<1>>{});
    else if (count <= 2 * W)
        walk(As<WholeVectors<2>>{});
    else
        walk(As<WholeVectors<maxColumnVectors>>{});
}

template <class Factors>
void correlate(const Correlation& c) {
    constexpr int most = static_cast<int>(maxColumnVectors * W);
    for (int first = 0; first < c.columns; first += most)
        correlateColumns<Factors>(c, first, c.columns - first < most ? c.columns - first : most);
}

inline void correlateRows(const Correlation* c) {
    correlate<SharedFactors>(*c);
}

inline void correlateByColumn(const Correlation* c) {
    correlate<ColumnFactors>(*c);
}

} // namespace
