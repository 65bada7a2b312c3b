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

/// What the rows of a tile sum up: `numFactors` factors of each frame, each with a row of weights.
/// Steps count floats.
struct TileSum {
    const float* const* frames;
    int numFrames;
    std::ptrdiff_t offset; // of the first factor of the first row, in each frame
    std::ptrdiff_t rowStep;
    int numFactors;
    std::ptrdiff_t factorStep;
    const float* weights;
    std::ptrdiff_t weightStep;
    std::ptrdiff_t skippedWeights; // between those of a frame and of the next
};

/// Where the sums of a tile begin (null for zeros) and where they go.
struct TileRows {
    const float* init;
    std::ptrdiff_t initStep;
    float* out;
    std::ptrdiff_t outStep;
    bool addsToOutput;
};

// Half of a vector: processors that take two steps for a wide vector take one for a half, so the
// widest vectors leave a rest of half or less to these.
#if defined(__AVX512F__)
inline constexpr bool halvesVectors = true;
using Half = Narrower;
inline Half lowHalf(F x) {
    return _mm512_castps512_ps256(x);
}
inline F widened(Half x) {
    return _mm512_zextps256_ps512(x);
}
#else
inline constexpr bool halvesVectors = false;
using Half = F;
inline Half lowHalf(F x) {
    return x;
}
inline F widened(Half x) {
    return x;
}
#endif

/// The columns of a tile: N vectors, the last of which may overlap the one before it. The last one
/// may be of another type.
template <int N, class Last = F>
struct WholeVectors {
    static constexpr int numVectors = N;
    template <int n>
    using Vector = std::conditional_t<n + 1 == N, Last, F>;
    std::ptrdiff_t last; // first column of the last vector

    explicit WholeVectors(int columns) : last(columns - lanesOf<Last>) {}

    template <class I>
    std::ptrdiff_t column(I n) const {
        return n.value + 1 == N ? last : n.value * W;
    }
    template <class I>
    Vector<I::value> load(const float* p, I n) const {
        return loadAt<Vector<I::value>>(p + column(n));
    }
    template <class I>
    Vector<I::value> loadWeights(const float* p, I n) const {
        return load(p, n);
    }
    template <class I>
    void store(float* p, Vector<I::value> x, I n) const {
        storeAt(p + column(n), x);
    }
};

/// Fewer columns than a vector, or a half, has. `Padded`: a whole vector may be read from a row of
/// weights, its further lanes counting for nothing.
template <bool Padded, class V = F>
struct FewColumns {
    static constexpr int numVectors = 1;
    template <int n>
    using Vector = V;
    std::ptrdiff_t count;

    explicit FewColumns(int columns) : count(columns) {}

    template <class I>
    V load(const float* p, I /*n*/) const {
        if constexpr (std::is_same_v<V, F>)
            return loadZeroPadded(p, count);
        else
            return lowHalf(loadZeroPadded(p, count));
    }
    template <class I>
    V loadWeights(const float* p, I n) const {
        return Padded ? loadAt<V>(p) : load(p, n);
    }
    template <class I>
    void store(float* p, V x, I /*n*/) const {
        if constexpr (std::is_same_v<V, F>)
            storePartial(p, x, count);
        else
            storePartial(p, widened(x), count);
    }
};

/// A vector for each of `Rows` rows and each of a tile's first `N` vectors of columns.
template <class Columns, int Rows, int N = Columns::numVectors>
struct TileVectors : TileVectors<Columns, Rows, N - 1> {
    typename Columns::template Vector<N - 1> vectors[Rows];

    template <class R, class I>
    auto& at(R r, I n) {
        if constexpr (I::value == N - 1)
            return vectors[r.value];
        else
            return TileVectors<Columns, Rows, N - 1>::at(r, n);
    }
};
template <class Columns, int Rows>
struct TileVectors<Columns, Rows, 0> {};

/// All columns of a row share a factor.
struct SharedFactors {
    static constexpr bool byColumn = false;
    template <class Columns, class I>
    static auto load(const float* p, const Columns& /*columns*/, I /*n*/) {
        return typename Columns::template Vector<I::value>(*p);
    }
};

/// Every column has factors of its own.
struct ColumnFactors {
    static constexpr bool byColumn = true;
    template <class Columns, class I>
    static auto load(const float* p, const Columns& columns, I n) {
        return columns.load(p, n);
    }
};

/// Computes `numTiles` tiles of R rows, one below the other.
template <class Factors, class Columns, int R>
void computeTiles(const TileSum& sum, const TileRows& rows, int columnCount, int numTiles) {
    constexpr int N = Columns::numVectors;
    constexpr int pointers =
        (R + 3) / 4; // one for four rows, which is what addresses have forms for
    const Columns columns(columnCount);
    const auto forEach = [](auto op) {
        unrolled<R>([op](auto r) { unrolled<N>([op, r](auto n) { op(r, n); }); });
    };
    const std::ptrdiff_t rowStep = sum.rowStep, weightStep = sum.weightStep;
    const std::ptrdiff_t factorStep = Factors::byColumn ? sum.factorStep : 1;
    const std::ptrdiff_t initStep = rows.initStep, outStep = rows.outStep;
    const float* init = rows.init;
    float* out = rows.out;
    std::ptrdiff_t offset = sum.offset;
    for (int tile = 0; tile < numTiles; ++tile) {
        TileVectors<Columns, R> sums;
        if (init)
            forEach([&](auto r, auto n) {
                sums.at(r, n) = columns.load(init + r.value * initStep, n);
            });
        else
            forEach([&](auto r, auto n) {
                sums.at(r, n) = typename Columns::template Vector<decltype(n)::value>(0.0f);
            });

        const float* w = sum.weights;
        for (int k = 0; k < sum.numFrames; ++k, w += sum.skippedWeights) {
            const float* x[pointers];
            unrolled<pointers>(
                [&](auto g) { x[g.value] = sum.frames[k] + offset + 4 * g.value * rowStep; });
            for (int m = 0; m < sum.numFactors; ++m, w += weightStep) {
                TileVectors<Columns, 1> weights;
                unrolled<N>([&](auto n) { weights.at(Index<0>{}, n) = columns.loadWeights(w, n); });
                forEach([&](auto r, auto n) {
                    const float* row = x[r.value / 4] + r.value % 4 * rowStep;
                    sums.at(r, n) = mulAdd(weights.at(Index<0>{}, n),
                                           Factors::load(row, columns, n), sums.at(r, n));
                });
                unrolled<pointers>([&](auto g) { x[g.value] += factorStep; });
            }
        }

        if (rows.addsToOutput)
            forEach([&](auto r, auto n) {
                sums.at(r, n) = columns.load(out + r.value * outStep, n) + sums.at(r, n);
            });
        forEach([&](auto r, auto n) { columns.store(out + r.value * outStep, sums.at(r, n), n); });
        init = init ? init + R * initStep : nullptr;
        out += R * outStep;
        offset += R * rowStep;
    }
}

} // namespace
