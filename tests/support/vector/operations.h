#pragma once

// The element-wise operations as a table: how to call each, and what it gives in double precision.

#include "support/vector/ipps.h"
#include "support/vector/spectral.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vectortest {

/// What one element gives: its one or two floats, and the size that its error is measured against
/// (0: each float's own).
struct Expected {
    double values[2];
    double scale = 0;
};

struct Operation {
    const char* name;
    int widths[3];    // floats an element of the first source, of the second (0: none) and of dst
    int roundings;    // largest error in units of half the last place
    float range[2];   // of the first source
    float range2[2];  // of the second
    bool accumulates; // dst is a source too
    IppStatus (*run)(const float* a, const float* b, float* dst, int len);
    Expected (*expect)(const double* a, const double* b, const double* before);
};

constexpr float constant = -0.37f;
constexpr double exactConstant = static_cast<double>(constant);
const Ipp32fc complexConstant{1.5f, -0.25f};
constexpr double exactFactor[2] = {1.5, -0.25};

inline const Ipp32fc* complexes(const float* p) {
    return reinterpret_cast<const Ipp32fc*>(p);
}
inline Ipp32fc* complexes(float* p) {
    return reinterpret_cast<Ipp32fc*>(p);
}

inline Expected complexProduct(const double* a, const double* b) {
    return {{a[0] * b[0] - a[1] * b[1], a[0] * b[1] + a[1] * b[0]},
            std::hypot(a[0], a[1]) * std::hypot(b[0], b[1])};
}

inline IppStatus interleave(const float* a, const float* b, float* dst, int len) {
    const float* rows[] = {a, b};
    return vlInterleave_32f(rows, 2, dst, len);
}

/// A bent value with the exponent g. The rounding of the cosine counts like one of the magnitude.
inline Expected bent(const double* z, double g) {
    const double x = std::hypot(z[0], z[1]);
    const double w = g < 1 ? x : 0.5 - 0.5 * std::cos(x * 3.1415927410125732);
    const double factor = std::pow(w + 1e-12, g - 1);
    return {{z[0] * factor, z[1] * factor}, std::max(x, x * factor)};
}

inline Expected maskedInput(const double* mask, const double* input) {
    const double weight[2] = {mask[0] * exactConstant + (1 - mask[0]) * 1.5,
                              mask[1] * exactConstant - mask[1] * 1.5};
    Expected result = complexProduct(weight, input);
    result.scale = 3 * (std::hypot(mask[0], mask[1]) + 1) * std::hypot(input[0], input[1]);
    return result;
}

// The arguments' names stand in the table.
#define RUN(call)                                                                                  \
    []([[maybe_unused]] const float* a, [[maybe_unused]] const float* b, float* dst, int len) {    \
        return call;                                                                               \
    }
#define EXPECT(...)                                                                                \
    []([[maybe_unused]] const double* a, [[maybe_unused]] const double* b,                         \
       [[maybe_unused]] const double* before) { return __VA_ARGS__; }
#define GIVES(...) EXPECT(Expected __VA_ARGS__)
#define PRODUCT(factor) EXPECT(complexProduct(a, factor))

// clang-format off
inline const Operation operations[] = {
    {"Set_32f", {1, 0, 1}, 0, {-1, 1}, {0, 0}, false,
     RUN(ippsSet_32f(constant, dst, len)), GIVES({{exactConstant}})},
    {"Set_32fc", {1, 0, 2}, 0, {-1, 1}, {0, 0}, false,
     RUN(ippsSet_32fc(complexConstant, complexes(dst), len)), GIVES({{1.5, -0.25}})},
    {"Zero_32f", {1, 0, 1}, 0, {-1, 1}, {0, 0}, false,
     RUN(ippsZero_32f(dst, len)), GIVES({{0}})},
    {"Add_32f", {1, 1, 1}, 1, {-9, 9}, {-9, 9}, false,
     RUN(ippsAdd_32f(a, b, dst, len)), GIVES({{a[0] + b[0]}})},
    {"Add_32fc", {2, 2, 2}, 1, {-9, 9}, {-9, 9}, false,
     RUN(ippsAdd_32fc(complexes(a), complexes(b), complexes(dst), len)),
     GIVES({{a[0] + b[0], a[1] + b[1]}})},
    {"AddC_32f", {1, 0, 1}, 1, {-9, 9}, {0, 0}, false,
     RUN(ippsAddC_32f(a, constant, dst, len)), GIVES({{a[0] + exactConstant}})},
    {"Sub_32f", {1, 1, 1}, 1, {-9, 9}, {-9, 9}, false,
     RUN(ippsSub_32f(a, b, dst, len)), GIVES({{b[0] - a[0]}})},
    {"Sub_32fc", {2, 2, 2}, 1, {-9, 9}, {-9, 9}, false,
     RUN(ippsSub_32fc(complexes(a), complexes(b), complexes(dst), len)),
     GIVES({{b[0] - a[0], b[1] - a[1]}})},
    {"SubC_32f", {1, 0, 1}, 1, {-9, 9}, {0, 0}, false,
     RUN(ippsSubC_32f(a, constant, dst, len)), GIVES({{a[0] - exactConstant}})},
    {"Mul_32f", {1, 1, 1}, 1, {-9, 9}, {-9, 9}, false,
     RUN(ippsMul_32f(a, b, dst, len)), GIVES({{a[0] * b[0]}})},
    {"Mul_32fc", {2, 2, 2}, 3, {-9, 9}, {-9, 9}, false,
     RUN(ippsMul_32fc(complexes(a), complexes(b), complexes(dst), len)), PRODUCT(b)},
    {"MulC_32f", {1, 0, 1}, 1, {-9, 9}, {0, 0}, false,
     RUN(ippsMulC_32f(a, constant, dst, len)), GIVES({{a[0] * exactConstant}})},
    {"MulC_32fc", {2, 0, 2}, 3, {-9, 9}, {0, 0}, false,
     RUN(ippsMulC_32fc(complexes(a), complexConstant, complexes(dst), len)), PRODUCT(exactFactor)},
    {"Div_32f", {1, 1, 1}, 1, {0.1f, 9}, {-9, 9}, false,
     RUN(ippsDiv_32f(a, b, dst, len)), GIVES({{b[0] / a[0]}})},
    {"AddProduct_32f", {1, 1, 1}, 2, {-9, 9}, {-9, 9}, true,
     RUN(ippsAddProduct_32f(a, b, dst, len)),
     GIVES({{before[0] + a[0] * b[0]}, std::abs(before[0]) + std::abs(a[0] * b[0])})},
    {"AddProductC_32f", {1, 0, 1}, 2, {-9, 9}, {0, 0}, true,
     RUN(ippsAddProductC_32f(a, constant, dst, len)),
     GIVES({{before[0] + a[0] * exactConstant}, std::abs(before[0]) + std::abs(a[0])})},
    {"Exp_32f", {1, 0, 1}, 4, {-87, 88}, {0, 0}, false,
     RUN(ippsExp_32f(a, dst, len)), GIVES({{std::exp(a[0])}})},
    {"Ln_32f", {1, 0, 1}, 4, {1e-3f, 1e3f}, {0, 0}, false,
     RUN(ippsLn_32f(a, dst, len)), GIVES({{std::log(a[0])}})},
    {"Ln_32f near 1", {1, 0, 1}, 4, {0.9f, 1.1f}, {0, 0}, false,
     RUN(ippsLn_32f(a, dst, len)), GIVES({{std::log(a[0])}})},
    {"Magnitude_32fc", {2, 0, 1}, 3, {-9, 9}, {0, 0}, false,
     RUN(ippsMagnitude_32fc(complexes(a), dst, len)), GIVES({{std::hypot(a[0], a[1])}})},
    {"Phase_32fc", {2, 0, 1}, 5, {-9, 9}, {0, 0}, false,
     RUN(ippsPhase_32fc(complexes(a), dst, len)), GIVES({{std::atan2(a[1], a[0])}})},
    {"PolarToCart_32fc", {1, 1, 2}, 5, {0.5f, 9}, {-7, 7}, false,
     RUN(ippsPolarToCart_32fc(a, b, complexes(dst), len)),
     GIVES({{a[0] * std::cos(b[0]), a[0] * std::sin(b[0])}})},
    {"PolarToCart_32fc of large phases", {1, 1, 2}, 5, {0.5f, 9}, {-3e4f, 3e4f}, false,
     RUN(ippsPolarToCart_32fc(a, b, complexes(dst), len)),
     GIVES({{a[0] * std::cos(b[0]), a[0] * std::sin(b[0])}})},
    {"Threshold_LTVal_32f", {1, 0, 1}, 0, {-1, 1}, {0, 0}, false,
     RUN(ippsThreshold_LTVal_32f(a, dst, len, constant, 5)),
     GIVES({{a[0] < exactConstant ? 5 : a[0]}})},
    {"Threshold_GTVal_32f", {1, 0, 1}, 0, {-1, 1}, {0, 0}, false,
     RUN(ippsThreshold_GTVal_32f(a, dst, len, constant, 5)),
     GIVES({{a[0] > exactConstant ? 5 : a[0]}})},
    {"Threshold_LTValGTVal_32f", {1, 0, 1}, 0, {-1, 1}, {0, 0}, false,
     RUN(ippsThreshold_LTValGTVal_32f(a, dst, len, constant, 5, 0.5f, 6)),
     GIVES({{a[0] < exactConstant ? 5 : a[0] > 0.5 ? 6 : a[0]}})},
    {"Hypot_32fc", {2, 0, 1}, 3, {-9, 9}, {0, 0}, false,
     RUN(vlHypot_32fc(complexes(a), dst, len)), GIVES({{std::hypot(a[0], a[1])}})},
    {"Bend_32fc upwards", {2, 0, 2}, 6, {-0.7f, 0.7f}, {0, 0}, false,
     RUN(vlBend_32fc(complexes(a), complexes(dst), len, 0.47f)), EXPECT(bent(a, static_cast<double>(0.47f)))},
    {"Bend_32fc downwards", {2, 0, 2}, 6, {-0.9f, 0.9f}, {0, 0}, false,
     RUN(vlBend_32fc(complexes(a), complexes(dst), len, 2.12f)), EXPECT(bent(a, static_cast<double>(2.12f)))},
    {"ApplyMask_32fc", {2, 2, 2}, 5, {-9, 9}, {-9, 9}, false,
     RUN(vlApplyMask_32fc(complexes(a), constant, 1.5f, complexes(b), complexes(dst), len)),
     EXPECT(maskedInput(a, b))},
    {"RealToCplx_32f", {1, 0, 2}, 0, {-9, 9}, {0, 0}, false,
     RUN(vlRealToCplx_32f(a, complexes(dst), len)), GIVES({{a[0], 0}})},
    {"Interleave_32f", {1, 1, 2}, 0, {-9, 9}, {-9, 9}, false,
     RUN(interleave(a, b, dst, len)), GIVES({{a[0], b[0]}})},
};
// clang-format on

#undef RUN
#undef EXPECT
#undef GIVES
#undef PRODUCT

} // namespace vectortest
