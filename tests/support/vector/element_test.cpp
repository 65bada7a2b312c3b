#include "forms.h"
#include "operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

using namespace vectortest;

namespace {

std::size_t width(const Operation& operation, int row) {
    return static_cast<std::size_t>(operation.widths[row]);
}

/// One operation's sources, what dst held, and what it makes of every element alone.
struct Rows {
    Rows(const Operation& op, std::size_t count, unsigned seed)
        : a(uniform(count * width(op, 0), op.range[0], op.range[1], seed)),
          b(uniform(count * std::max<std::size_t>(width(op, 1), 1), op.range2[0], op.range2[1],
                    seed + 1)),
          before(uniform(count * width(op, 2), -9, 9, seed + 2)),
          alone(before) {
        for (std::size_t i = 0; i < count; ++i)
            op.run(&a[i * width(op, 0)], &b[i * width(op, 1)], &alone[i * width(op, 2)], 1);
    }
    std::vector<float> a, b, before, alone;
};

/// Checks the elements that were computed alone, in roundings: half units in the last place.
void expectAccurate(const Operation& op, const Rows& rows, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        double sources[3][2];
        const std::vector<float>* values[3] = {&rows.a, &rows.b, &rows.before};
        for (int row = 0; row < 3; ++row) {
            for (std::size_t part = 0; part < width(op, row); ++part)
                sources[row][part] = static_cast<double>((*values[row])[i * width(op, row) + part]);
        }
        const Expected expected = op.expect(sources[0], sources[1], sources[2]);
        for (std::size_t part = 0; part < width(op, 2); ++part) {
            const double exact = expected.values[part];
            const double scale = expected.scale != 0 ? expected.scale : std::abs(exact);
            const double rounding = std::ldexp(1.0, std::max(-126, std::ilogb(scale)) - 24);
            const double error =
                std::abs(static_cast<double>(rows.alone[i * width(op, 2) + part]) - exact);
            ASSERT_LE(error, op.roundings * rounding)
                << "element " << i << " part " << part << " of " << sources[0][0] << ", "
                << sources[0][1] << "; " << sources[1][0] << " should be " << exact;
        }
    }
}

bool sameBits(const float* a, const float* b, std::size_t count) {
    return std::memcmp(a, b, count * sizeof(float)) == 0;
}

} // namespace

// Elements that are exact alone and have the same bits at every place of a row are exact
// everywhere.
TEST(VectorElements, AreAccurateAndIndependentOfTheirPlace) {
    constexpr std::size_t longest = 67, numStarts = 9;
    forEachForm([&](const Kernels& form) {
        unsigned seed = 1000;
        for (const Operation& op : operations) {
            seed += 10;
            SCOPED_TRACE(std::string(op.name) + " in " + form.name + ", seed " +
                         std::to_string(seed));
            const Rows rows(op, longest + numStarts, seed);
            expectAccurate(op, rows, longest + numStarts);
            const std::size_t wa = width(op, 0), wb = width(op, 1), wd = width(op, 2);
            for (std::size_t start = 0; start < numStarts; ++start) {
                for (std::size_t len = 0; len <= longest; ++len) {
                    const float* a = rows.a.data() + start * wa;
                    const float* b = rows.b.data() + start * wb;
                    const float* alone = rows.alone.data() + start * wd;
                    const float* before = rows.before.data() + start * wd;
                    const int n = static_cast<int>(len);
                    // 0: apart; 1 and 2: dst is the first or the second source.
                    for (int place = 0; place < 3; ++place) {
                        if (place > 0 && (op.accumulates || width(op, place - 1) != wd))
                            continue;
                        Guarded<float> dst(len * wd, start);
                        const float* held = place == 0 ? before : place == 1 ? a : b;
                        std::copy(held, held + len * wd, dst.data());
                        const IppStatus status = op.run(place == 1 ? dst.data() : a,
                                                        place == 2 ? dst.data() : b, dst.data(), n);
                        ASSERT_EQ(status, len == 0 ? ippStsSizeErr : ippStsNoErr);
                        ASSERT_TRUE(sameBits(dst.data(), alone, len * wd))
                            << "length " << len << " start " << start << " place " << place;
                        ASSERT_TRUE(dst.intact());
                    }
                }
            }
        }
    });
}

TEST(VectorElements, AreAccurateOverTheirWholeRange) {
    constexpr std::size_t count = 20000;
    forEachForm([&](const Kernels& form) {
        unsigned seed = 5000;
        for (const Operation& op : operations) {
            SCOPED_TRACE(std::string(op.name) + " in " + form.name);
            expectAccurate(op, Rows(op, count, seed += 10), count);
        }
    });
}

TEST(VectorElements, CheckTheirArgumentsAndThenWriteNothing) {
    float row[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    for (const Operation& op : operations) {
        SCOPED_TRACE(op.name);
        Guarded<float> dst(8);
        const bool readsFirst =
            !std::string(op.name).starts_with("Set") && !std::string(op.name).starts_with("Zero");
        EXPECT_EQ(op.run(row, row, nullptr, 0), ippStsNullPtrErr);
        if (readsFirst) {
            EXPECT_EQ(op.run(nullptr, row, dst.data(), 0), ippStsNullPtrErr);
        }
        if (op.widths[1] > 0) {
            EXPECT_EQ(op.run(row, nullptr, dst.data(), 3), ippStsNullPtrErr);
        }
        EXPECT_EQ(op.run(row, row, dst.data(), 0), ippStsSizeErr);
        EXPECT_EQ(op.run(row, row, dst.data(), -3), ippStsSizeErr);
        EXPECT_TRUE(dst.untouched());
    }
}

TEST(VectorSums, AreAccurateForEveryLength) {
    forEachForm([](const Kernels& form) {
        for (int len = 0; len <= 67; ++len) {
            for (std::size_t start = 0; start < 4; ++start) {
                SCOPED_TRACE(std::string(form.name) + " length " + std::to_string(len));
                const std::vector<float> a = uniform(80, -1, 1, 31), b = uniform(80, -1, 1, 32);
                const std::vector<double> a64(a.begin(), a.end()), b64(b.begin(), b.end());
                double dot = 0, squares = 0;
                for (std::size_t i = start; i < start + static_cast<std::size_t>(len); ++i) {
                    dot += a64[i] * b64[i];
                    squares += a64[i] * a64[i];
                }
                const IppStatus status = len == 0 ? ippStsSizeErr : ippStsNoErr;
                float dot32 = 0, norm = 0;
                double dot64 = 0;
                EXPECT_EQ(ippsDotProd_32f(&a[start], &b[start], len, &dot32), status);
                EXPECT_EQ(ippsDotProd_64f(&a64[start], &b64[start], len, &dot64), status);
                EXPECT_EQ(ippsNorm_L2_32f(&a[start], len, &norm), status);
                EXPECT_NEAR(static_cast<double>(dot32), dot, 2e-6);
                EXPECT_NEAR(dot64, dot, 1e-14);
                EXPECT_NEAR(static_cast<double>(norm), std::sqrt(squares), 2e-6);
            }
        }
    });
    float one = 1, result = 0;
    double one64 = 1;
    EXPECT_EQ(ippsDotProd_32f(&one, &one, 0, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsDotProd_64f(nullptr, &one64, 0, &one64), ippStsNullPtrErr);
    EXPECT_EQ(ippsNorm_L2_32f(nullptr, 0, &result), ippStsNullPtrErr);
}
