#pragma once

// Correlations, cut into tiles.

#include "support/vector/correlation.h"

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
        const int innerEnd = endOfInnerRows();
        int row = 0;
        while (row < c.outRows && rowOf(row) < 0)
            addEdgeRow(row++);
        if (row < innerEnd) {
            addInnerRows(row, innerEnd);
            row = innerEnd;
        }
        while (row < c.outRows)
            addEdgeRow(row++);
    }

private:
    static constexpr int maxRows =
        tileVectors / Columns::numVectors < 12 ? tileVectors / Columns::numVectors : 12;

    struct Range {
        int begin, end;
    };

    /// The row of the frames that kernel position 0 of an output row meets.
    std::ptrdiff_t rowOf(std::ptrdiff_t outRow) const { return c.firstRow + outRow * c.stride; }

    /// The first output row that reaches past the frames' end.
    int endOfInnerRows() const {
        const std::ptrdiff_t room = std::ptrdiff_t{c.numRows} - c.positions - c.firstRow;
        const std::ptrdiff_t end = room < 0 ? 0 : room / c.stride + 1;
        return end < c.outRows ? static_cast<int>(end) : c.outRows;
    }

    /// Rows that meet all positions, in blocks of nearly equal height, as low ones don't fill the
    /// pipelines: the last ones have a row more than the others.
    void addInnerRows(int begin, int end) const {
        const int numRows = end - begin;
        const int numBlocks = (numRows - 1) / maxRows + 1;
        const int height = numRows / numBlocks, numHigher = numRows % numBlocks;
        addProducts(begin, height, numBlocks - numHigher, {0, c.positions});
        if (numHigher > 0)
            addProducts(end - numHigher * (height + 1), height + 1, numHigher, {0, c.positions});
    }

    /// A row that meets some positions only.
    void addEdgeRow(int row) const {
        const std::ptrdiff_t first = rowOf(row), last = c.numRows - first;
        addProducts(row, 1, 1,
                    {first < 0 ? static_cast<int>(first > -c.positions ? -first : c.positions) : 0,
                     last < c.positions ? static_cast<int>(last > 0 ? last : 0) : c.positions});
    }

    /// Adds the products of some positions to blocks of rows.
    void addProducts(int begin, int height, int numBlocks, Range positions) const {
        // Runs of adjacent factors become one.
        const bool oneRun = Factors::byColumn || c.rowStep == c.channels;
        const int numPositions =
            positions.end > positions.begin ? positions.end - positions.begin : 0;
        const std::ptrdiff_t productsBefore = std::ptrdiff_t{positions.begin} * c.channels;
        const std::ptrdiff_t productsLeft =
            (std::ptrdiff_t{c.positions} - numPositions) * c.channels;
        const TileSum sum = {
            .frames = c.frames,
            .numFrames = numPositions > 0 ? c.numFrames : 0,
            .offset = (rowOf(begin) + positions.begin) * c.rowStep + c.firstFactor +
                      (Factors::byColumn ? column : 0),
            .rowStep = c.stride * c.rowStep,
            .numRuns = oneRun ? 1 : numPositions,
            .runStep = c.rowStep,
            .runLength = oneRun ? numPositions * c.channels : c.channels,
            .factorStep = c.rowStep,
            .weights = c.weights + productsBefore * c.weightStep + column,
            .weightStep = c.weightStep,
            .skippedWeights = productsLeft * c.weightStep,
        };
        const TileRows rows = {
            .init = c.init ? c.init + begin * c.initStep + column : nullptr,
            .initStep = c.initStep,
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
