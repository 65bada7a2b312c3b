#include "forms.h"

#include "support/bit_cast.h"
#include "support/vector/spectral.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

using namespace vectortest;

namespace {

constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float pi = 3.14159274f;

using RunRows = IppStatus (*)(const float* a, const float* b, float* dst, int len);

/// Equal as numbers are read: NaN matches NaN, zeros match by sign.
bool same(float a, float b) {
    return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

/// Denormals count while it lives.
class KeepDenormals {
public:
    KeepDenormals() { set(0); }
    ~KeepDenormals() { set(1); }
    KeepDenormals(const KeepDenormals&) = delete;
    KeepDenormals& operator=(const KeepDenormals&) = delete;

private:
    static void set(int flush) {
        ippSetFlushToZero(flush, nullptr);
        ippSetDenormAreZeros(flush);
    }
};

struct SpecialCase {
    const char* name;
    RunRows run;
    float a, b, expected;
    IppStatus status = ippStsNoErr;
};

/// Puts a case's sources at the front, the middle and the end of rows of ones.
void expectCase(const SpecialCase& c) {
    for (const std::size_t len : {1U, 5U, 19U}) {
        for (const std::size_t at : {std::size_t{0}, len / 2, len - 1}) {
            std::vector<float> a(len, 1.0f), b(len, 1.0f), dst(len);
            a[at] = c.a;
            b[at] = c.b;
            EXPECT_EQ(c.run(a.data(), b.data(), dst.data(), static_cast<int>(len)), c.status);
            EXPECT_TRUE(same(dst[at], c.expected))
                << dst[at] << " should be " << c.expected << " at " << at << " of " << len;
        }
    }
}

template <IppStatus (*Operation)(const float*, float*, int)>
IppStatus unary(const float* a, const float*, float* dst, int len) {
    return Operation(a, dst, len);
}

template <IppStatus (*Operation)(const float*, float, float*, int), int C>
IppStatus with(const float* a, const float*, float* dst, int len) {
    return Operation(a, static_cast<float>(C), dst, len);
}

template <IppStatus (*Operation)(const float*, float, float*, int)>
IppStatus withMinus0(const float* a, const float*, float* dst, int len) {
    return Operation(a, -0.0f, dst, len);
}

template <IppStatus (*Operation)(const float*, float*, int, float, float), int Level>
IppStatus threshold(const float* a, const float*, float* dst, int len) {
    return Operation(a, dst, len, static_cast<float>(Level), 7);
}

template <int Low, int High>
IppStatus thresholds(const float* a, const float*, float* dst, int len) {
    return ippsThreshold_LTValGTVal_32f(a, dst, len, static_cast<float>(Low), 7,
                                        static_cast<float>(High), 8);
}

template <IppStatus (*Operation)(const Ipp32fc*, float*, int)>
IppStatus ofPairs(const float* re, const float* im, float* dst, int len) {
    std::vector<Ipp32fc> pairs(static_cast<std::size_t>(len));
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {re[i], im[i]};
    return Operation(pairs.data(), dst, len);
}

template <int Part>
IppStatus polar(const float* magnitude, const float* phase, float* dst, int len) {
    std::vector<Ipp32fc> pairs(static_cast<std::size_t>(len));
    const IppStatus status = ippsPolarToCart_32fc(magnitude, phase, pairs.data(), len);
    for (std::size_t i = 0; i < pairs.size(); ++i)
        dst[i] = Part == 0 ? pairs[i].real() : pairs[i].imag();
    return status;
}

} // namespace

TEST(VectorSpecialCases, GiveTheirValuesAndStatuses) {
    const RunRows exp = unary<ippsExp_32f>, ln = unary<ippsLn_32f>;
    const RunRows phase = ofPairs<ippsPhase_32fc>, magnitude = ofPairs<ippsMagnitude_32fc>;
    const RunRows hypot = ofPairs<vlHypot_32fc>;
    // Not for the compiler, which knows better than some C libraries.
    volatile float notConstant = 1e30f;
    const float huge = notConstant;
    const SpecialCase cases[] = {
        {"add 0 keeps -0", with<ippsAddC_32f, 0>, -0.0f, 0, -0.0f},
        {"times 0 of NaN", with<ippsMulC_32f, 0>, notANumber, 0, 0},
        {"times 0 of infinity", with<ippsMulC_32f, 0>, infinite, 0, 0},
        {"times -0", withMinus0<ippsMulC_32f>, -infinite, 0, 0},
        {"times 1 of -0", with<ippsMulC_32f, 1>, -0.0f, 0, -0.0f},
        {"1 over 0", ippsDiv_32f, 0, 1, infinite, ippStsDivByZero},
        {"1 over -0", ippsDiv_32f, -0.0f, 1, infinite, ippStsDivByZero},
        {"-1 over 0", ippsDiv_32f, 0, -1, -infinite, ippStsDivByZero},
        {"infinity over -0", ippsDiv_32f, -0.0f, infinite, infinite, ippStsDivByZero},
        {"0 over 0", ippsDiv_32f, 0, 0, notANumber, ippStsDivByZero},
        {"NaN over 0", ippsDiv_32f, 0, notANumber, notANumber, ippStsDivByZero},
        {"1 over -infinity", ippsDiv_32f, -infinite, 1, -0.0f},
        {"exp of infinity", exp, infinite, 0, infinite},
        {"exp of -infinity", exp, -infinite, 0, 0},
        {"exp past the range", exp, 88.8f, 0, infinite},
        {"exp below the range", exp, -104.1f, 0, 0},
        {"exp of NaN", exp, notANumber, 0, notANumber},
        {"ln of 0", ln, 0, 0, -infinite, ippStsLnZeroArg},
        {"ln of a negative", ln, -2, 0, notANumber, ippStsLnNegArg},
        {"ln of infinity", ln, infinite, 0, infinite},
        {"ln of NaN", ln, notANumber, 0, notANumber},
        {"at a low level", threshold<ippsThreshold_LTVal_32f, 1>, 1, 0, 1},
        {"NaN at a low level", threshold<ippsThreshold_LTVal_32f, 1>, notANumber, 0, 7},
        {"-0 at a low level of 0", threshold<ippsThreshold_LTVal_32f, 0>, -0.0f, 0, -0.0f},
        {"at a high level", threshold<ippsThreshold_GTVal_32f, 1>, 1, 0, 1},
        {"NaN at a high level", threshold<ippsThreshold_GTVal_32f, 1>, notANumber, 0, 7},
        {"NaN at two levels", thresholds<0, 1>, notANumber, 0, notANumber},
        {"above equal levels", thresholds<1, 1>, 1.5f, 0, 8},
        {"magnitude with an infinity", magnitude, -infinite, 2, infinite},
        {"magnitude past the range", magnitude, 3e38f, 3e38f, infinite},
        {"magnitude of NaN", magnitude, notANumber, 0, notANumber},
        {"hypot of large parts", hypot, 3e30f, 4e30f, 5e30f},
        {"hypot past squares", hypot, 3e38f, 0, 3e38f},
        {"hypot of small parts", hypot, -3e-30f, 4e-30f, 5e-30f},
        {"hypot of a tiny part", hypot, 0, -1e-25f, 1e-25f},
        {"hypot with an infinity", hypot, infinite, notANumber, infinite},
        {"hypot of NaN", hypot, notANumber, 0, notANumber},
        {"phase of the origin", phase, 0, 0, 0},
        {"phase below the origin", phase, 0, -0.0f, -0.0f},
        {"phase left of the origin", phase, -0.0f, 0, pi},
        {"phase on the cut from above", phase, -2, 0, pi},
        {"phase on the cut from below", phase, -2, -0.0f, -pi},
        {"phase down", phase, -0.0f, -3, -pi / 2},
        {"phase of two infinities", phase, infinite, infinite, pi / 4},
        {"phase of an infinity to the left", phase, -infinite, -1, -pi},
        {"phase of NaN above", phase, 1, notANumber, notANumber},
        {"sine of -0", polar<1>, 2, -0.0f, -0.0f},
        {"cosine of infinity", polar<0>, 2, infinite, notANumber},
        {"sine of a huge phase", polar<1>, 1, huge, std::sin(huge)},
        {"cosine of a huge phase", polar<0>, 1, -huge, std::cos(huge)},
    };
    forEachForm([&](const Kernels& form) {
        for (const SpecialCase& c : cases) {
            SCOPED_TRACE(std::string(c.name) + " in " + form.name);
            expectCase(c);
        }
    });
}

TEST(VectorSpecialCases, DenormalsAreNumbersWhereTheThreadKeepsThem) {
    const KeepDenormals keep;
    forEachForm([](const Kernels& form) {
        SCOPED_TRACE(form.name);
        const float small[] = {1e-40f, 3e-45f, 1e-38f};
        float dst[3];
        EXPECT_EQ(ippsLn_32f(small, dst, 3), ippStsNoErr);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(dst[i], std::log(small[i]), 2e-5f);
        const float exponents[] = {-88, -95, -103};
        ippsExp_32f(exponents, dst, 3);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(dst[i], std::exp(exponents[i]), 3e-45f);
    });
}

TEST(VectorSpecialCases, ConversionsKeepWhatTheyCan) {
    const double doubles[] = {0.1, -0.0, 1e300, -1e300, HUGE_VAL, 3.4028235e38, std::nan(""), -2.5};
    const float floats[] = {0.1f, -0.0f, FLT_MAX, -FLT_MAX, FLT_MAX, FLT_MAX, notANumber, -2.5f};
    forEachForm([&](const Kernels& form) {
        Guarded<float> narrow(8, 1);
        Guarded<double> wide(8, 1);
        EXPECT_EQ(ippsConvert_64f32f(doubles, narrow.data(), 8), ippStsNoErr);
        EXPECT_EQ(ippsConvert_32f64f(narrow.data(), wide.data(), 8), ippStsNoErr);
        for (std::size_t i = 0; i < 8; ++i) {
            EXPECT_TRUE(same(narrow[i], floats[i])) << form.name << ' ' << i;
            EXPECT_TRUE(same(static_cast<float>(wide[i]), floats[i])) << form.name << ' ' << i;
        }
        EXPECT_TRUE(narrow.intact() && wide.intact());
    });
}

TEST(VectorSpecialCases, ArgumentsThatNoRowCanHave) {
    const float row[3] = {1, 2, 3};
    double wide = 0;
    float narrow = 0;
    Guarded<float> dst(3);
    int count = -1, phase = 3;
    EXPECT_EQ(ippsThreshold_LTValGTVal_32f(row, dst.data(), 3, 2, 0, 1, 0), ippStsThresholdErr);
    EXPECT_EQ(ippsConvert_64f32f(nullptr, &narrow, 0), ippStsNullPtrErr);
    EXPECT_EQ(ippsConvert_32f64f(&narrow, &wide, 0), ippStsSizeErr);
    const auto down = [&](int len, int factor) {
        return ippsSampleDown_32f(row, len, dst.data(), &count, factor, &phase);
    };
    EXPECT_EQ(ippsSampleDown_32f(row, 0, dst.data(), nullptr, 0, &phase), ippStsNullPtrErr);
    EXPECT_EQ(down(0, 0), ippStsSizeErr);
    EXPECT_EQ(down(3, 0), ippStsSampleFactorErr);
    EXPECT_EQ(down(3, 3), ippStsSamplePhaseErr);
    EXPECT_TRUE(dst.untouched() && count == -1 && phase == 3);
    for (const int size : {0, -1, INT32_MAX})
        EXPECT_EQ(ippsMalloc_8u(size), nullptr);
    ippsFree(nullptr);
}

TEST(VectorSampleDown, TakesEveryNthAndKeepsThePhase) {
    std::vector<float> src(20);
    std::iota(src.begin(), src.end(), 0.0f);
    const struct {
        int len, factor, phase, count, phaseAfter;
    } cases[] = {{20, 1, 0, 20, 0}, {20, 2, 1, 10, 1}, {7, 3, 0, 3, 2},
                 {7, 3, 2, 2, 1},   {2, 5, 4, 0, 2},   {20, INT32_MAX, 3, 1, INT32_MAX - 17}};
    for (const auto& c : cases) {
        Guarded<float> dst(static_cast<std::size_t>(c.count));
        int count = -1, phase = c.phase;
        ippsSampleDown_32f(src.data(), c.len, dst.data(), &count, c.factor, &phase);
        EXPECT_EQ(count, c.count) << c.len << " by " << c.factor;
        EXPECT_EQ(phase, c.phaseAfter) << c.len << " by " << c.factor;
        for (int k = 0; k < c.count; ++k)
            EXPECT_EQ(dst[static_cast<std::size_t>(k)], static_cast<float>(c.phase + k * c.factor));
        EXPECT_TRUE(dst.intact());
    }
}

TEST(VectorMemory, IsAlignedAndCopied) {
    for (const int size : {1, 63, 64, 65, 1000, 20000}) {
        Ipp8u* block = ippsMalloc_8u(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u);
        std::fill(block, block + size, Ipp8u{0xFF});
        Guarded<Ipp8u> copy(static_cast<std::size_t>(size), 1);
        EXPECT_EQ(ippsCopy_8u(block, copy.data(), size), ippStsNoErr);
        EXPECT_EQ(ippsCopy_8u(copy.data(), copy.data(), size), ippStsNoErr);
        EXPECT_EQ(std::count(copy.data(), copy.data() + size, 0xFF), size);
        EXPECT_TRUE(copy.intact());
        EXPECT_EQ(ippsCopy_8u(block, nullptr, 0), ippStsNullPtrErr);
        ippsFree(block);
    }
}

TEST(VectorDispatch, TheLoadHookHasRunOnThisThread) {
    const Kernels* forms[8];
    const int count = sorvane::vector::availableForms(forms, 8);
    EXPECT_EQ(sorvane::vector::activeKernels.load(), forms[count - 1]);
    volatile float smallest = FLT_MIN;
    const float half = smallest * 0.5f;
    EXPECT_EQ(half, 0.0f) << "denormal results are flushed";
    volatile float denormal = sorvane::bitCast<float>(0x00400000);
    const float product = denormal * 1e10f;
    EXPECT_EQ(product, 0.0f) << "denormal inputs are zero";
    EXPECT_STREQ(ippGetStatusString(ippStsNullPtrErr), "ippStsNullPtrErr: Null pointer error");
    EXPECT_STREQ(ippGetStatusString(static_cast<IppStatus>(-12345)),
                 "ippStsUnknownStatusCodeErr: Unknown status code");
}

#if defined(__x86_64__)
TEST(VectorDispatch, FlushingMasksTheUnderflow) {
    const unsigned int before = _mm_getcsr();
    _mm_setcsr(before & ~0x0800U);
    unsigned int wasMasked = 7;
    EXPECT_EQ(ippSetFlushToZero(1, &wasMasked), ippStsNoErr);
    const unsigned int after = _mm_getcsr();
    _mm_setcsr(before);
    EXPECT_EQ(wasMasked, 0U);
    EXPECT_NE(after & 0x0800U, 0U);
}
#endif
