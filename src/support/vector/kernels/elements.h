#pragma once

// How the element-wise kernels walk over their rows, and those of plain arithmetic.
//
// Every element takes the same arithmetic wherever it stands: rows end with a vector that overlaps
// the one before it, rows shorter than a vector are loaded into one. The last vector is computed
// before anything is written, so that `dst` may be a source.

#include "support/vector/ipps.h"

namespace {

inline constexpr std::ptrdiff_t W = lanesOf<F>;

/// A row of floats.
struct In {
    const float* p;
    F load(std::ptrdiff_t n) const { return loadAt<F>(p + n); }
    template <int Count>
    F loadPiece(std::ptrdiff_t n) const {
        return ::loadPiece<Count>(p + n);
    }
    F loadFew(std::ptrdiff_t count) const { return loadPartial(p, count); }
};

/// The same vector, or pair, everywhere.
struct Same {
    const float* p;
    F load(std::ptrdiff_t n) const { return loadAt<F>(p + (W > 1 ? 0 : n % 2)); }
    F loadFew(std::ptrdiff_t) const { return load(0); }
};

struct Out {
    float* p;
    void store(std::ptrdiff_t n, F x) const { storeAt(p + n, x); }
    void storeFew(std::ptrdiff_t count, F x) const { storePartial(p, x, count); }
};

/// A row of complex values.
struct ComplexIn {
    const float* p;
    explicit ComplexIn(const Ipp32fc* src) : p(reinterpret_cast<const float*>(src)) {}
    Complex<F> load(std::ptrdiff_t n) const {
        Complex<F> z;
        loadPairs(p + 2 * n, z);
        return z;
    }
    Complex<F> loadFew(std::ptrdiff_t count) const {
        float pairs[2 * W];
        for (std::ptrdiff_t i = 0; i < 2 * W; ++i)
            pairs[i] = p[i < 2 * count ? i : i % 2];
        Complex<F> z;
        loadPairs(pairs, z);
        return z;
    }
};

struct ComplexOut {
    float* p;
    explicit ComplexOut(Ipp32fc* dst) : p(reinterpret_cast<float*>(dst)) {}
    void store(std::ptrdiff_t n, Complex<F> z) const { storePairs(p + 2 * n, z); }
    void storeFew(std::ptrdiff_t count, Complex<F> z) const {
        float pairs[2 * W];
        storePairs(pairs, z);
        for (std::ptrdiff_t i = 0; i < 2 * count; ++i)
            p[i] = pairs[i];
    }
};

/// Stores op(sources) for `len` elements, two vectors a round, which hides the loop's own cost.
template <class Target, class Op, class... Sources>
inline void mapRows(std::ptrdiff_t len, Target out, Op op, Sources... in) {
    if (len < W) {
        out.storeFew(len, op(in.loadFew(len)...));
        return;
    }
    const std::ptrdiff_t end = len - W;
    const auto last = op(in.load(end)...);
    if (end <= W) { // short rows have no loop to set up
        const auto first = op(in.load(0)...);
        out.store(0, first);
        out.store(end, last);
        return;
    }
    std::ptrdiff_t n = 0;
    for (; n + W < end; n += 2 * W) {
        const auto first = op(in.load(n)...);
        const auto second = op(in.load(n + W)...);
        out.store(n, first);
        out.store(n + W, second);
    }
    if (n < end)
        out.store(n, op(in.load(n)...));
    out.store(end, last);
}

template <int Count, class Op, class... Sources>
inline void updatePiece(std::ptrdiff_t len, std::ptrdiff_t& n, float* row, Op op, Sources... in) {
    if ((len & Count) != 0) {
        storePiece<Count>(row + n,
                          op(loadPiece<Count>(row + n), in.template loadPiece<Count>(n)...));
        n += Count;
    }
}

/// Updates `row` to op(row, sources). The rest after whole vectors is done in halves, so that the
/// calls of a sum over many rows load just what the call before stored: a load that overlaps two
/// stores waits until both have left the processor's store queue, twice the time of a short call.
template <class Op, class... Sources>
inline void updateRow(std::ptrdiff_t len, float* row, Op op, Sources... in) {
    std::ptrdiff_t n = 0;
    for (; n + 2 * W <= len; n += 2 * W) {
        const F first = op(loadAt<F>(row + n), in.load(n)...);
        const F second = op(loadAt<F>(row + n + W), in.load(n + W)...);
        storeAt(row + n, first);
        storeAt(row + n + W, second);
    }
    if (n + W <= len) {
        storeAt(row + n, op(loadAt<F>(row + n), in.load(n)...));
        n += W;
    }
    if constexpr (W > 8)
        updatePiece<8>(len, n, row, op, in...);
    if constexpr (W > 4)
        updatePiece<4>(len, n, row, op, in...);
    if constexpr (W > 2) {
        updatePiece<2>(len, n, row, op, in...);
        updatePiece<1>(len, n, row, op, in...);
    }
}

/// Rows past the first cache are left to the C library, which has more than vectors for them.
inline constexpr int longestShortRow = 4096;

inline IppStatus copy32f(const float* src, float* dst, int len) {
    if (len > longestShortRow)
        std::memmove(dst, src, static_cast<std::size_t>(len) * sizeof(float));
    else if (src != dst)
        mapRows(
            len, Out{dst}, [](F x) { return x; }, In{src});
    return ippStsNoErr;
}

inline IppStatus zero32f(float* dst, int len) {
    if (len > longestShortRow)
        std::memset(dst, 0, static_cast<std::size_t>(len) * sizeof(float));
    else
        mapRows(
            len, Out{dst}, [](F) { return F(0.0f); }, In{dst});
    return ippStsNoErr;
}

inline void addRows(const float* src1, const float* src2, float* dst, std::ptrdiff_t len) {
    mapRows(
        len, Out{dst}, [](F a, F b) { return a + b; }, In{src1}, In{src2});
}

inline void subtractRows(const float* src1, const float* src2, float* dst, std::ptrdiff_t len) {
    mapRows(
        len, Out{dst}, [](F a, F b) { return b - a; }, In{src1}, In{src2});
}

inline const float* floats(const Ipp32fc* p) {
    return reinterpret_cast<const float*>(p);
}
inline float* floats(Ipp32fc* p) {
    return reinterpret_cast<float*>(p);
}

inline IppStatus set32f(float value, float* dst, int len) {
    const F x(value);
    mapRows(
        len, Out{dst}, [x](F) { return x; }, In{dst});
    return ippStsNoErr;
}

inline IppStatus set32fc(Ipp32fc value, Ipp32fc* dst, int len) {
    float* p = floats(dst);
    const float re = floats(&value)[0];
    const float im = floats(&value)[1];
    for (std::ptrdiff_t n = 0; n < len; ++n) {
        p[2 * n] = re;
        p[2 * n + 1] = im;
    }
    return ippStsNoErr;
}

inline IppStatus add32f(const float* src1, const float* src2, float* dst, int len) {
    addRows(src1, src2, dst, len);
    return ippStsNoErr;
}

inline IppStatus add32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len) {
    addRows(floats(src1), floats(src2), floats(dst), std::ptrdiff_t{2} * len);
    return ippStsNoErr;
}

inline IppStatus addC32f(const float* src, float value, float* dst, int len) {
    if (value == 0.0f)
        return copy32f(src, dst, len);
    const F c(value);
    mapRows(
        len, Out{dst}, [c](F a) { return a + c; }, In{src});
    return ippStsNoErr;
}

inline IppStatus sub32f(const float* src1, const float* src2, float* dst, int len) {
    subtractRows(src1, src2, dst, len);
    return ippStsNoErr;
}

inline IppStatus sub32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len) {
    subtractRows(floats(src1), floats(src2), floats(dst), std::ptrdiff_t{2} * len);
    return ippStsNoErr;
}

inline IppStatus subC32f(const float* src, float value, float* dst, int len) {
    if (value == 0.0f)
        return copy32f(src, dst, len);
    const F c(value);
    mapRows(
        len, Out{dst}, [c](F a) { return a - c; }, In{src});
    return ippStsNoErr;
}

inline IppStatus mul32f(const float* src1, const float* src2, float* dst, int len) {
    mapRows(
        len, Out{dst}, [](F a, F b) { return a * b; }, In{src1}, In{src2});
    return ippStsNoErr;
}

template <class V>
inline Complex<V> product(Complex<V> a, Complex<V> b) {
    return {negMulAdd(a.im, b.im, a.re * b.re), mulAdd(a.im, b.re, a.re * b.im)};
}

/// The products of two rows of pairs (re, im).
template <class First, class Second>
inline void multiplyPairs(std::ptrdiff_t len, float* dst, First a, Second b) {
    if constexpr (W > 1) {
        mapRows(
            2 * len, Out{dst}, [](auto x, auto y) { return pairProducts(x, y); }, a, b);
    } else {
        for (std::ptrdiff_t n = 0; n < 2 * len; n += 2) {
            storePairs(dst + n, product(Complex<float>{a.load(n), a.load(n + 1)},
                                        Complex<float>{b.load(n), b.load(n + 1)}));
        }
    }
}

inline IppStatus mul32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len) {
    multiplyPairs(len, floats(dst), In{floats(src1)}, In{floats(src2)});
    return ippStsNoErr;
}

inline IppStatus mulC32f(const float* src, float value, float* dst, int len) {
    if (value == 1.0f)
        return copy32f(src, dst, len);
    if (value == 0.0f)
        return zero32f(dst, len);
    const F c(value);
    mapRows(
        len, Out{dst}, [c](F a) { return a * c; }, In{src});
    return ippStsNoErr;
}

inline IppStatus mulC32fc(const Ipp32fc* src, Ipp32fc value, Ipp32fc* dst, int len) {
    float pairs[W > 1 ? W : 2];
    for (std::ptrdiff_t n = 0; n < std::ptrdiff_t{sizeof pairs / sizeof *pairs}; ++n)
        pairs[n] = floats(&value)[n % 2];
    multiplyPairs(len, floats(dst), Same{pairs}, In{floats(src)});
    return ippStsNoErr;
}

inline IppStatus div32f(const float* src1, const float* src2, float* dst, int len) {
    const F zero(0.0f);
    M zeroDivisor = F(1.0f) == zero;
    mapRows(
        len, Out{dst},
        [&zeroDivisor, zero](F divisor, F dividend) {
            zeroDivisor = eitherOf(zeroDivisor, divisor == zero);
            return quotient(dividend, divisor + zero); // the sum makes a plus of the zero's sign
        },
        In{src1}, In{src2});
    return anyOf(zeroDivisor) ? ippStsDivByZero : ippStsNoErr;
}

inline IppStatus addProduct32f(const float* src1, const float* src2, float* srcDst, int len) {
    updateRow(
        len, srcDst, [](F sum, F a, F b) { return mulAdd(a, b, sum); }, In{src1}, In{src2});
    return ippStsNoErr;
}

inline IppStatus addProductC32f(const float* src, float value, float* srcDst, int len) {
    const F c(value);
    updateRow(
        len, srcDst, [c](F sum, F a) { return mulAdd(a, c, sum); }, In{src});
    return ippStsNoErr;
}

inline IppStatus convert32f64f(const float* src, double* dst, int len) {
    for (int n = 0; n < len; ++n)
        dst[n] = static_cast<double>(src[n]);
    return ippStsNoErr;
}

inline IppStatus convert64f32f(const double* src, float* dst, int len) {
    const double largest = 3.4028234663852886e38;
    for (int n = 0; n < len; ++n) {
        double x = src[n];
        x = x > largest ? largest : x;
        x = x < -largest ? -largest : x;
        dst[n] = static_cast<float>(x);
    }
    return ippStsNoErr;
}

// Ordered comparisons: a NaN fails them.

inline IppStatus thresholdLTVal32f(const float* src, float* dst, int len, float level,
                                   float value) {
    const F bound(level), other(value);
    mapRows(
        len, Out{dst}, [=](F x) { return choose(bound <= x, x, other); }, In{src});
    return ippStsNoErr;
}

inline IppStatus thresholdGTVal32f(const float* src, float* dst, int len, float level,
                                   float value) {
    const F bound(level), other(value);
    mapRows(
        len, Out{dst}, [=](F x) { return choose(bound >= x, x, other); }, In{src});
    return ippStsNoErr;
}

inline IppStatus thresholdLTValGTVal32f(const float* src, float* dst, int len, float levelLT,
                                        float valueLT, float levelGT, float valueGT) {
    const F low(levelLT), below(valueLT), high(levelGT), above(valueGT);
    mapRows(
        len, Out{dst}, [=](F x) { return choose(x < low, below, choose(x > high, above, x)); },
        In{src});
    return ippStsNoErr;
}

} // namespace
