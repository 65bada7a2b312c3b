#pragma once

// The flat operations written out, with the same checks as the vector layer's: as plain loops, and
// on the vectors of the instruction set whose lanes are included before. Only for the files that
// are compiled for one instruction set.

#include "vector_sides.h"

namespace {

using sorvane::bench::Rows;

constexpr int badPointer = -8, badSize = -6, zeroDivisor = 2;

/// dst = op(a, b), one element at a time.
struct Plainly {
    template <class Op>
    static int map(const float* a, const float* b, float* dst, int length, Op op) {
        if (a == nullptr || b == nullptr || dst == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        for (int n = 0; n < length; ++n)
            dst[n] = op(a[n], b[n], dst[n]);
        return 0;
    }

    static int dotProduct(const float* a, const float* b, int length, float* result) {
        if (a == nullptr || b == nullptr || result == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        float sum = 0;
        for (int n = 0; n < length; ++n)
            sum += a[n] * b[n];
        *result = sum;
        return 0;
    }

    static int divide(const float* a, const float* b, float* dst, int length) {
        bool anyZero = false;
        const int status = map(a, b, dst, length, [&anyZero](float x, float y, float) {
            anyZero |= x == 0.0F;
            return y / (x + 0.0F);
        });
        return status == 0 && anyZero ? zeroDivisor : status;
    }

    static int multiplyPairs(const float* a, const float* b, float* dst, int length) {
        if (a == nullptr || b == nullptr || dst == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        for (int n = 0; n < 2 * length; n += 2) {
            const float re = a[n] * b[n] - a[n + 1] * b[n + 1];
            dst[n + 1] = a[n] * b[n + 1] + a[n + 1] * b[n];
            dst[n] = re;
        }
        return 0;
    }
};

/// The same on whole vectors, and what is left one element at a time.
struct ByVectors {
    static constexpr int width = lanesOf<F>;

    template <class Op>
    static int map(const float* a, const float* b, float* dst, int length, Op op) {
        if (a == nullptr || b == nullptr || dst == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        int n = 0;
        for (; n + width <= length; n += width)
            storeAt(dst + n, op(loadAt<F>(a + n), loadAt<F>(b + n), loadAt<F>(dst + n)));
        for (; n < length; ++n)
            dst[n] = op(a[n], b[n], dst[n]);
        return 0;
    }

    static int dotProduct(const float* a, const float* b, int length, float* result) {
        if (a == nullptr || b == nullptr || result == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        F sums[4] = {F(0.0F), F(0.0F), F(0.0F), F(0.0F)};
        int n = 0;
        for (; n + 4 * width <= length; n += 4 * width)
            for (int i = 0; i < 4; ++i)
                sums[i] =
                    mulAdd(loadAt<F>(a + n + i * width), loadAt<F>(b + n + i * width), sums[i]);
        for (; n + width <= length; n += width)
            sums[0] = mulAdd(loadAt<F>(a + n), loadAt<F>(b + n), sums[0]);
        float sum = sumOf((sums[0] + sums[1]) + (sums[2] + sums[3]));
        for (; n < length; ++n)
            sum = mulAdd(a[n], b[n], sum);
        *result = sum;
        return 0;
    }

    static int divide(const float* a, const float* b, float* dst, int length) {
        if (a == nullptr || b == nullptr || dst == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        M zeros = F(1.0F) == F(0.0F);
        bool anyZero = false;
        int n = 0;
        for (; n + width <= length; n += width) {
            const F divisor = loadAt<F>(a + n);
            zeros = eitherOf(zeros, divisor == F(0.0F));
            storeAt(dst + n, loadAt<F>(b + n) / (divisor + F(0.0F)));
        }
        for (; n < length; ++n) {
            anyZero |= a[n] == 0.0F;
            dst[n] = b[n] / (a[n] + 0.0F);
        }
        return anyZero || anyOf(zeros) ? zeroDivisor : 0;
    }

    static int multiplyPairs(const float* a, const float* b, float* dst, int length) {
        if (a == nullptr || b == nullptr || dst == nullptr)
            return badPointer;
        if (length < 1)
            return badSize;
        int n = 0;
        for (; n + width <= 2 * length; n += width)
            storeAt(dst + n, pairProducts(loadAt<F>(a + n), loadAt<F>(b + n)));
        for (; n < 2 * length; n += 2) {
            const float re = a[n] * b[n] - a[n + 1] * b[n + 1];
            dst[n + 1] = a[n] * b[n + 1] + a[n + 1] * b[n];
            dst[n] = re;
        }
        return 0;
    }
};

template <class Way>
int addConstant(const Rows& r) {
    const float c = r.value;
    if (c == 0.0F)
        return Way::map(r.a, r.a, r.dst, r.length, [](auto x, auto, auto) { return x; });
    return Way::map(r.a, r.a, r.dst, r.length,
                    [c](auto x, auto, auto) { return x + decltype(x)(c); });
}

template <class Way>
int timesConstant(const Rows& r) {
    const float c = r.value;
    if (c == 1.0F)
        return Way::map(r.a, r.a, r.dst, r.length, [](auto x, auto, auto) { return x; });
    if (c == 0.0F)
        return Way::map(r.a, r.a, r.dst, r.length,
                        [](auto x, auto, auto) { return decltype(x)(0.0F); });
    return Way::map(r.a, r.a, r.dst, r.length,
                    [c](auto x, auto, auto) { return x * decltype(x)(c); });
}

template <class Way>
int norm(const Rows& r) {
    const int status = Way::dotProduct(r.a, r.a, r.length, r.dst);
    if (status == 0)
        *r.dst = squareRoot(*r.dst);
    return status;
}

/// Fills a table of loops over one of the ways.
template <class Way>
constexpr void setFlat(sorvane::bench::Loop (&loops)[sorvane::bench::numFlat]) {
    using namespace sorvane::bench;
    loops[flatCopy] = loop([](const Rows& r) {
        return Way::map(r.a, r.a, r.dst, r.length, [](auto x, auto, auto) { return x; });
    });
    loops[flatZero] = loop([](const Rows& r) {
        return Way::map(r.dst, r.dst, r.dst, r.length,
                        [](auto x, auto, auto) { return decltype(x)(0.0F); });
    });
    loops[flatSet] = loop([](const Rows& r) {
        return Way::map(r.dst, r.dst, r.dst, r.length,
                        [c = r.value](auto x, auto, auto) { return decltype(x)(c); });
    });
    loops[flatAdd] = loop([](const Rows& r) {
        return Way::map(r.a, r.b, r.dst, r.length, [](auto x, auto y, auto) { return x + y; });
    });
    loops[flatAddC] = loop([](const Rows& r) { return addConstant<Way>(r); });
    loops[flatSub] = loop([](const Rows& r) {
        return Way::map(r.a, r.b, r.dst, r.length, [](auto x, auto y, auto) { return y - x; });
    });
    loops[flatMul] = loop([](const Rows& r) {
        return Way::map(r.a, r.b, r.dst, r.length, [](auto x, auto y, auto) { return x * y; });
    });
    loops[flatMulC] = loop([](const Rows& r) { return timesConstant<Way>(r); });
    loops[flatDiv] = loop([](const Rows& r) { return Way::divide(r.a, r.b, r.dst, r.length); });
    loops[flatAddProduct] = loop([](const Rows& r) {
        return Way::map(r.a, r.b, r.dst, r.length,
                        [](auto x, auto y, auto sum) { return mulAdd(x, y, sum); });
    });
    loops[flatAddProductC] = loop([](const Rows& r) {
        return Way::map(r.a, r.a, r.dst, r.length, [c = r.value](auto x, auto, auto sum) {
            return mulAdd(x, decltype(x)(c), sum);
        });
    });
    loops[flatThreshold] = loop([](const Rows& r) {
        return Way::map(r.a, r.a, r.dst, r.length, [c = r.value](auto x, auto, auto) {
            return choose(decltype(x)(c) <= x, x, decltype(x)(c));
        });
    });
    loops[flatDotProduct] =
        loop([](const Rows& r) { return Way::dotProduct(r.a, r.b, r.length, r.dst); });
    loops[flatNorm] = loop([](const Rows& r) { return norm<Way>(r); });
    loops[flatComplexAdd] = loop([](const Rows& r) {
        return Way::map(r.a, r.b, r.dst, 2 * r.length, [](auto x, auto y, auto) { return x + y; });
    });
    loops[flatComplexMul] =
        loop([](const Rows& r) { return Way::multiplyPairs(r.a, r.b, r.dst, r.length); });
}

} // namespace
