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

/// The tiles of one set of columns, by their number of rows.
template <class Factors, class Columns, class Counts>
struct Tiles;
template <class Factors, class Columns, int... R>
struct Tiles<Factors, Columns, RowCounts<R...>> {
    static constexpr void (*ofRows[])(const TileSum&, const TileRows&, int columnCount) = {
        nullptr, computeTile<Factors, Columns, R>...};
};

/// Walks down the rows of a correlation, over columns that make one tile.
template <class Factors, class Columns>
class TileWalk {
public:
    TileWalk(const Correlation& correlation, int firstColumn, int columnCount)
        : c(correlation), column(firstColumn), count(columnCount) {}

    void run() const {
        // Blocks of nearly equal height, as low ones don't fill the pipelines.
        const int numBlocks = (c.outRows - 1) / maxRows + 1;
        for (int b = 0, begin = 0; b < numBlocks; ++b) {
            const int end = begin + (c.outRows - begin) / (numBlocks - b);
            if (rowOf(begin) >= 0 && rowOf(end - 1) + c.positions <= c.numRows)
                addProducts(begin, end, {0, c.numFrames}, {0, c.positions}, c.init, c.initStep);
            else
                addEdgeBlock(begin, end);
            begin = end;
        }
    }

private:
    static constexpr int maxRows = tileVectors / Columns::numVectors;

    struct Range {
        int begin, end;
        bool operator==(const Range&) const = default;
    };

    /// The row of the frames that kernel position 0 of an output row meets.
    std::ptrdiff_t rowOf(std::ptrdiff_t outRow) const { return c.firstRow + outRow * c.stride; }

    void addProducts(int begin, int end, Range frames, Range positions, const float* init,
                     std::ptrdiff_t initStep) const {
        // Runs of adjacent factors become one.
        const bool oneRun = Factors::byColumn || c.rowStep == c.channels;
        const int numPositions = positions.end - positions.begin;
        const std::ptrdiff_t product =
            (std::ptrdiff_t{frames.begin} * c.positions + positions.begin) * c.channels;
        const TileSum sum = {
            .frames = c.frames + frames.begin,
            .numFrames = frames.end - frames.begin,
            .offset = (rowOf(begin) + positions.begin) * c.rowStep + c.firstFactor +
                      (Factors::byColumn ? column : 0),
            .rowStep = c.stride * c.rowStep,
            .numRuns = oneRun ? 1 : numPositions,
            .runStep = c.rowStep,
            .runLength = oneRun ? numPositions * c.channels : c.channels,
            .factorStep = c.rowStep,
            .weights = c.weights + product * c.weightStep + column,
            .weightStep = c.weightStep,
        };
        const TileRows rows = {init ? init + begin * initStep + column : nullptr, initStep,
                               c.out + begin * c.outStep + column, c.outStep, c.addsToOutput};
        using Counts = typename RowCountsUpTo<maxRows>::Type;
        Tiles<Factors, Columns, Counts>::ofRows[end - begin](sum, rows, count);
    }

    /// A block of which some rows meet fewer positions than others: takes each position for those
    /// rows that meet it, with the sums in memory in between.
    void addEdgeBlock(int begin, int end) const {
        const Columns columns(count);
        for (int o = begin; c.init != c.out && o < end; ++o)
            unrolled<Columns::numVectors>([&](auto n) {
                const F start =
                    c.init ? columns.load(c.init + o * c.initStep + column, n) : F(0.0f);
                columns.store(c.out + o * c.outStep + column, start, n);
            });
        for (int k = 0; k < c.numFrames; ++k) {
            Range rows = {end, end}; // that meet the position
            int first = 0;           // position with these rows
            for (int j = 0; j <= c.positions; ++j) {
                const Range next = j < c.positions ? narrowed(begin, rows, j) : Range{};
                if (next == rows)
                    continue;
                if (rows.begin < rows.end)
                    addProducts(rows.begin, rows.end, {k, k + 1}, {first, j}, c.out, c.outStep);
                rows = next;
                first = j;
            }
        }
    }

    /// The rows from `begin` on that meet position `j`, from those that meet the one before: both
    /// ends move down as positions go up.
    Range narrowed(int begin, Range rows, int j) const {
        while (rows.begin > begin && rowOf(rows.begin - 1) + j >= 0)
            --rows.begin;
        while (rows.end > begin && rowOf(rows.end - 1) + j >= c.numRows)
            --rows.end;
        return rows;
    }

    const Correlation& c;
    int column;
    int count;
};

template <class Factors>
void correlateColumns(const Correlation& c, int first, int count) {
    if constexpr (W > 1) {
        if (count < W)
            return TileWalk<Factors, FewColumns<!Factors::byColumn>>(c, first, count).run();
    }
    if (count <= W)
        TileWalk<Factors, WholeVectors<1>>(c, first, count).run();
    else if (count <= 2 * W)
        TileWalk<Factors, WholeVectors<2>>(c, first, count).run();
    else
        TileWalk<Factors, WholeVectors<maxColumnVectors>>(c, first, count).run();
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
