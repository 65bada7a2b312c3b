#pragma once

// The operations on lanes on xsimd's vectors of the instruction set `Arch`, which the including
// file defines with `fusesProducts` (mulAdd rounds once) and `numRegisters`. The fused operations, which
// xsimd lacks for AVX-512, and the shuffles are beside the vectors of each width.

#include "support/vector/forms/lanes_scalar.h"

namespace {

using F = xsimd::batch<float, Arch>;
using I = xsimd::batch<std::int32_t, Arch>;
using M = F::batch_bool_type;
using D = xsimd::batch<double, Arch>;

template <class V>
inline constexpr int lanesOf = static_cast<int>(V::size);
template <>
inline constexpr int lanesOf<float> = 1;

// Templates, before which a form's own functions come.
template <class A>
inline xsimd::batch<float, A> squareRoot(xsimd::batch<float, A> x) {
    return xsimd::sqrt(x);
}
template <class A>
inline xsimd::batch<float, A> quotient(xsimd::batch<float, A> a, xsimd::batch<float, A> b) {
    return a / b;
}
inline F choose(M condition, F yes, F no) {
    return xsimd::select(condition, yes, no);
}
inline M isNan(F x) {
    return xsimd::isnan(x);
}
inline M bothOf(M a, M b) {
    return a & b;
}
inline M eitherOf(M a, M b) {
    return a | b;
}
inline F atMost(F limit, F x) {
    return xsimd::min(limit, x);
}
inline F atLeast(F limit, F x) {
    return xsimd::max(limit, x);
}
inline I bitsOf(F x) {
    return xsimd::bitwise_cast<I>(x);
}
inline F fromBits(I bits) {
    return xsimd::bitwise_cast<F>(bits);
}
inline F toFloat(I i) {
    return xsimd::to_float(i);
}
template <class A>
inline void storeAt(float* p, xsimd::batch<float, A> x) {
    x.store_unaligned(p);
}
inline float sumOf(F x) {
    return xsimd::hadd(x);
}
inline double sumOf(D x) {
    return xsimd::hadd(x);
}

template <class V>
inline V loadAt(const float* p) {
    if constexpr (std::is_same_v<V, float>)
        return *p;
    else
        return V::load_unaligned(p);
}

inline D loadDoubles(const double* p) {
    return D::load_unaligned(p);
}

} // namespace
