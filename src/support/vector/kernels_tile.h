#pragma once

// Tiles: blocks of rows by a few vectors of columns whose sums of products stay in registers.
//
// Each element adds its products one after another with the multiply-add of addProductC32f, so that
// the shapes of the tiles change no bit of the result.

namespace {

/// Sums of a tile, in vectors. With the weights and a factor they fill the registers; at least eight
/// of them keep two multiply-adds a cycle going that take four cycles each.
inline constexpr int tileVectors = numRegisters * 3 / 4;
inline constexpr int maxColumnVectors = 3;

template <int Value>
struct Index {
    static constexpr int value = Value;
};

/// Calls op(Index<0>), op(Index<1>) and so on. Compilers unroll plain loops too late: by then the
/// sums of a tile are an array in memory.
template <int Count, class Op>
inline void unrolled(Op op) {
    if constexpr (Count > 0) {
        unrolled<Count - 1>(op);
        op(Index<Count - 1>{});
    }
}

/// What the rows of a tile sum up: in each frame `numRuns` runs of `runLength` factors, each factor
/// with a row of weights. Steps count floats.
struct TileSum {
    const float* const* frames;
    int numFrames;
    std::ptrdiff_t offset; // of the first factor of the first row, in each frame
    std::ptrdiff_t rowStep;
    int numRuns;
    std::ptrdiff_t runStep;
    int runLength;
    std::ptrdiff_t factorStep;
    const float* weights;
    std::ptrdiff_t weightStep;
};

/// Where the sums of a tile begin (null for zeros) and where they go.
struct TileRows {
    const float* init;
    std::ptrdiff_t initStep;
    float* out;
    std::ptrdiff_t outStep;
    bool addsToOutput;
};

/// The columns of a tile: N vectors, the last of which may overlap the one before it.
template <int N>
struct WholeVectors {
    static constexpr int numVectors = N;
    std::ptrdiff_t last; // first column of the last vector

    explicit WholeVectors(int columns) : last(columns - W) {}

    template <class I>
    std::ptrdiff_t column(I n) const {
        return n.value + 1 == N ? last : n.value * W;
    }
    template <class I>
    F load(const float* p, I n) const {
        return loadAt<F>(p + column(n));
    }
    template <class I>
    F loadWeights(const float* p, I n) const {
        return load(p, n);
    }
    template <class I>
    void store(float* p, F x, I n) const {
        storeAt(p + column(n), x);
    }
};

/// Fewer columns than a vector has. `Padded`: a whole vector may be read from a row of weights, its
/// further lanes counting for nothing.
template <bool Padded>
struct FewColumns {
    static constexpr int numVectors = 1;
    std::ptrdiff_t count;

    explicit FewColumns(int columns) : count(columns) {}

    template <class I>
    F load(const float* p, I /*n*/) const {
        return loadZeroPadded(p, count);
    }
    template <class I>
    F loadWeights(const float* p, I n) const {
        return Padded ? loadAt<F>(p) : load(p, n);
    }
    template <class I>
    void store(float* p, F x, I /*n*/) const {
        storePartial(p, x, count);
    }
};

/// All columns of a row share a factor.
struct SharedFactors {
    static constexpr bool byColumn = false;
    template <class Columns, class I>
    static F load(const float* p, const Columns& /*columns*/, I /*n*/) {
        return F(*p);
    }
};

/// Every column has factors of its own.
struct ColumnFactors {
    static constexpr bool byColumn = true;
    template <class Columns, class I>
    static F load(const float* p, const Columns& columns, I n) {
        return columns.load(p, n);
    }
};

template <class Factors, class Columns, int R>
void computeTile(const TileSum& sum, const TileRows& rows, int columnCount) {
    constexpr int N = Columns::numVectors;
    constexpr int pointers =
        (R + 3) / 4; // one for four rows, which is what addresses have forms for
    const Columns columns(columnCount);
    F sums[R][N];
    const auto forEach = [](auto op) {
        unrolled<R>([op](auto r) { unrolled<N>([op, r](auto n) { op(r, n); }); });
    };

    if (rows.init)
        forEach([&](auto r, auto n) {
            sums[r.value][n.value] = columns.load(rows.init + r.value * rows.initStep, n);
        });
    else
        forEach([&](auto r, auto n) { sums[r.value][n.value] = F(0.0f); });

    const float* w = sum.weights;
    const std::ptrdiff_t rowStep = sum.rowStep, weightStep = sum.weightStep;
    const std::ptrdiff_t factorStep = Factors::byColumn ? sum.factorStep : 1;
    for (int k = 0; k < sum.numFrames; ++k) {
        const float* run = sum.frames[k] + sum.offset;
        for (int j = 0; j < sum.numRuns; ++j, run += sum.runStep) {
            const float* x[pointers];
            unrolled<pointers>([&](auto g) { x[g.value] = run + 4 * g.value * rowStep; });
            for (int m = 0; m < sum.runLength; ++m, w += weightStep) {
                F weights[N];
                unrolled<N>([&](auto n) { weights[n.value] = columns.loadWeights(w, n); });
                forEach([&](auto r, auto n) {
                    const float* row = x[r.value / 4] + r.value % 4 * rowStep;
                    sums[r.value][n.value] = mulAdd(
                        weights[n.value], Factors::load(row, columns, n), sums[r.value][n.value]);
                });
                unrolled<pointers>([&](auto g) { x[g.value] += factorStep; });
            }
        }
    }

    float* const out = rows.out;
    const std::ptrdiff_t outStep = rows.outStep;
    if (rows.addsToOutput)
        forEach([&](auto r, auto n) {
            sums[r.value][n.value] =
                columns.load(out + r.value * outStep, n) + sums[r.value][n.value];
        });
    forEach(
        [&](auto r, auto n) { columns.store(out + r.value * outStep, sums[r.value][n.value], n); });
}

} // namespace
