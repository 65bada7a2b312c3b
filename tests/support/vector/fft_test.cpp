#include "forms.h"

#include "support/vector/transform/plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

using namespace vectortest;
using sorvane::vector::FftMethod;

namespace {

constexpr FftMethod bothMethods[] = {FftMethod::passes, FftMethod::inPlace};

/// A transform in guarded memory that starts off any alignment.
class Transform {
public:
    Transform(int order, int flag, FftMethod method, const Kernels& form)
        : m_sizes(sorvane::vector::fftSizes(order, method, form)),
          m_memory(static_cast<std::size_t>(m_sizes.spec), 1),
          m_work(static_cast<std::size_t>(m_sizes.work), 3),
          m_spec(sorvane::vector::buildFft(order, flag, method, form, m_memory.data())) {}

    IppStatus forward(const float* src, float* dst) {
        return ippsFFTFwd_RToCCS_32f(src, dst, m_spec, m_work.data());
    }
    IppStatus inverse(const float* src, float* dst) {
        return ippsFFTInv_CCSToR_32f(src, dst, m_spec, m_work.data());
    }
    bool intact() const { return m_memory.intact() && m_work.intact(); }

private:
    sorvane::vector::FftSizes m_sizes;
    Guarded<Ipp8u> m_memory, m_work;
    IppsFFTSpec_R_32f* m_spec;
};

std::vector<double> directTransform(const std::vector<float>& x) {
    const std::size_t n = x.size();
    std::vector<std::complex<double>> roots(n);
    for (std::size_t i = 0; i < n; ++i)
        roots[i] = std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) /
                                       static_cast<double>(n));
    std::vector<double> bins;
    for (std::size_t k = 0; k <= n / 2; ++k) {
        double re = 0, im = 0;
        for (std::size_t i = 0, at = 0; i < n; ++i, at = (at + k) % n) {
            re += static_cast<double>(x[i]) * roots[at].real();
            im += static_cast<double>(x[i]) * roots[at].imag();
        }
        bins.push_back(re);
        bins.push_back(k == 0 || 2 * k == n ? 0.0 : im);
    }
    return bins;
}

/// The largest difference, in units of the float rounding of `scale`.
template <class Expected>
double largestError(const float* values, const Expected& expected, double factor, double scale) {
    double error = 0;
    for (std::size_t i = 0; i < expected.size(); ++i)
        error = std::max(error, std::abs(static_cast<double>(values[i]) -
                                         factor * static_cast<double>(expected[i])));
    return error / scale * std::ldexp(1.0, 24);
}

} // namespace

TEST(VectorFft, EqualsADirectTransform) {
    for (int order = 0; order <= 13; ++order) {
        const std::size_t n = std::size_t{1} << order;
        const unsigned seed = 7u + static_cast<unsigned>(order);
        const std::vector<float> samples = uniform(n, -1, 1, seed);
        const std::vector<double> expected = directTransform(samples);
        const double size = static_cast<double>(n), root = std::sqrt(size);
        const struct {
            int flag;
            double forward, inverse;
        } scalings[] = {{8, 1, 1}, {1, 1 / size, 1}, {2, 1, 1 / size}, {4, 1 / root, 1 / root}};
        forEachForm([&](const Kernels& form) {
            for (const FftMethod method : bothMethods) {
                for (const auto& scaling : scalings) {
                    SCOPED_TRACE(std::string(form.name) + " order " + std::to_string(order) +
                                 " flag " + std::to_string(scaling.flag) + " in place " +
                                 std::to_string(method == FftMethod::inPlace) + " seed " +
                                 std::to_string(seed));
                    Transform transform(order, scaling.flag, method, form);
                    const std::size_t numBins = n / 2 + 1;
                    const auto offset = static_cast<std::size_t>(order % 4);
                    Guarded<float> bins(2 * numBins, offset), back(n, 3 - offset);
                    ASSERT_EQ(transform.forward(samples.data(), bins.data()), ippStsNoErr);
                    EXPECT_LT(largestError(bins.data(), expected, scaling.forward,
                                           root * scaling.forward),
                              1.5 + 0.5 * order);
                    EXPECT_EQ(bins[1], 0.0f);
                    EXPECT_EQ(bins[2 * numBins - 1], 0.0f);
                    bins[1] = bins[2 * numBins - 1] = NAN; // to be ignored
                    ASSERT_EQ(transform.inverse(bins.data(), back.data()), ippStsNoErr);
                    const double gain = size * scaling.forward * scaling.inverse;
                    EXPECT_LT(largestError(back.data(), samples, gain, gain), 1.5 + order);
                    EXPECT_TRUE(bins.intact() && back.intact() && transform.intact());
                }
            }
        });
    }
}

TEST(VectorFft, LongTransformsComeBack) {
    for (const int order : {14, 17, 20}) {
        const std::size_t n = std::size_t{1} << order;
        const std::vector<float> samples = uniform(n, -1, 1, 99);
        forEachForm([&](const Kernels& form) {
            for (const FftMethod method : bothMethods) {
                if (method == FftMethod::inPlace && order > 14)
                    continue;
                Transform transform(order, 8, method, form);
                std::vector<float> bins(n + 2), back(n);
                transform.forward(samples.data(), bins.data());
                transform.inverse(bins.data(), back.data());
                const double gain = static_cast<double>(n);
                EXPECT_LT(largestError(back.data(), samples, gain, gain), 2.0 * order)
                    << form.name << ' ' << order;
            }
        });
    }
}

TEST(VectorFft, ChecksItsArguments) {
    int a = -1, b = -1, c = -1;
    const auto size = [&](int order, int flag) {
        return ippsFFTGetSize_R_32f(order, flag, ippAlgHintFast, &a, &b, &c);
    };
    EXPECT_EQ(size(30, 8), ippStsFftOrderErr);
    EXPECT_EQ(size(-1, 3), ippStsFftOrderErr);
    EXPECT_EQ(size(3, 3), ippStsFftFlagErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(30, 8, ippAlgHintFast, &a, nullptr, &c), ippStsNullPtrErr);
    EXPECT_EQ(a, -1);
    for (int order = 29; order >= 3; --order)
        EXPECT_TRUE(size(order, 8) == ippStsNoErr && a > 0 && b > 0 && c > 0) << order;

    std::vector<Ipp8u> memory(static_cast<std::size_t>(a)), work(static_cast<std::size_t>(c));
    IppsFFTSpec_R_32f* spec = nullptr;
    const auto init = [&](int order, int flag, Ipp8u* block) {
        return ippsFFTInit_R_32f(&spec, order, flag, ippAlgHintFast, block, nullptr);
    };
    EXPECT_EQ(init(30, 8, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(init(30, 8, memory.data()), ippStsFftOrderErr);
    EXPECT_EQ(init(3, 7, memory.data()), ippStsFftFlagErr);
    EXPECT_EQ(spec, nullptr);
    ASSERT_EQ(init(3, 8, memory.data()), ippStsNoErr);
    const float ones[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    float bins[10];
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(ones, bins, nullptr, work.data()), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTInv_CCSToR_32f(ones, bins, spec, nullptr), ippStsNullPtrErr);
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(ones, bins, spec, work.data()), ippStsNoErr);
    EXPECT_EQ(bins[0], 8.0f);
    spec->id = 0;
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(ones, bins, spec, work.data()), ippStsContextMatchErr);
}
