#include "forms.h"

#include "support/vector/spectral.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

using namespace vectortest;

// The power's precision must hold over its whole range, and its limits be those of pow.
TEST(VectorSpectral, BendKeepsItsPrecisionForSmallValues) {
    std::vector<float> values = {2e4f, 3e5f}; // whose cosines the library's own function gives
    for (float x = 1e-15f; x < 1.05f; x *= 1.37f)
        values.push_back(x);
    const float gains[] = {0.0f, 0.4723666f, 0.9999f, 1.0f, 1.5f, 2.117f, 40.0f, 1e30f};
    forEachForm([&](const Kernels& form) {
        for (const float g : gains) {
            for (const float x : values) {
                SCOPED_TRACE(std::string(form.name) + ", g " + std::to_string(g) + ", x " +
                             std::to_string(x));
                const float c = static_cast<float>(std::cos(static_cast<double>(x * 3.1415927f)));
                const float w = (g < 1.0f ? x : 0.5f - c * 0.5f) + 1e-12f;
                const double p = static_cast<double>(g - 1.0f);
                const Ipp32fc source{0, -x};
                Ipp32fc result;
                ASSERT_EQ(vlBend_32fc(&source, &result, 1, g), ippStsNoErr);
                const double expected =
                    static_cast<double>(x) * std::pow(static_cast<double>(w), p);
                // Where w is the cosine's rounding alone, one of its units is most of it.
                const double lost = g < 1.0f ? 0 : 7e-8 * p / static_cast<double>(w);
                const double tolerance = (5e-7 + std::expm1(std::min(lost, 3.0))) * expected;
                EXPECT_EQ(result.real(), 0.0f);
                EXPECT_NEAR(static_cast<double>(-result.imag()), expected,
                            std::max(tolerance, 1e-37));
            }
            const Ipp32fc zero{0, 0}, one{1, 0};
            Ipp32fc result;
            ASSERT_EQ(vlBend_32fc(&one, &result, 1, g), ippStsNoErr);
            EXPECT_NEAR(result.real(), 1, std::abs(g) < 1e9f ? 1e-5 : 1) << form.name << ' ' << g;
            if (std::abs(g) < 3) {
                ASSERT_EQ(vlBend_32fc(&zero, &result, 1, g), ippStsNoErr);
                EXPECT_EQ(result, zero);
            }
        }
    });
}

TEST(VectorSpectral, InterleavingIsUndone) {
    forEachForm([](const Kernels& form) {
        for (const int numRows : {1, 2, 3, 5}) {
            for (const int len : {1, 2, 7, 16, 33, 67}) {
                SCOPED_TRACE(std::string(form.name) + ", rows " + std::to_string(numRows) +
                             ", length " + std::to_string(len));
                const auto rows = static_cast<std::size_t>(numRows);
                const auto n = static_cast<std::size_t>(len);
                Guarded<float> apart(rows * n, 1), together(rows * n, 3), back(rows * n, 2);
                std::iota(apart.data(), apart.data() + rows * n, 1.0f);
                std::vector<const float*> sources;
                std::vector<float*> targets;
                for (std::size_t r = 0; r < rows; ++r) {
                    sources.push_back(apart.data() + r * n);
                    targets.push_back(back.data() + r * n);
                }
                ASSERT_EQ(vlInterleave_32f(sources.data(), numRows, together.data(), len),
                          ippStsNoErr);
                for (std::size_t i = 0; i < rows * n; ++i)
                    ASSERT_EQ(together[i], apart[i % rows * n + i / rows]);
                ASSERT_EQ(vlDeinterleave_32f(together.data(), numRows, targets.data(), len),
                          ippStsNoErr);
                for (std::size_t i = 0; i < rows * n; ++i)
                    ASSERT_EQ(back[i], apart[i]);
                ASSERT_TRUE(together.intact() && back.intact());
                EXPECT_EQ(vlDeinterleave_32f(together.data(), 0, targets.data(), len),
                          ippStsSizeErr);
                targets.back() = nullptr;
                EXPECT_EQ(vlDeinterleave_32f(together.data(), numRows, targets.data(), len),
                          ippStsNullPtrErr);
            }
        }
    });
}
