#pragma once

// The functions as xsimd has them, on the vectors of the instruction set whose lanes are included
// before. Only for the files that are compiled for one instruction set.

#include "vector_sides.h"

#include <complex>

namespace {

using sorvane::bench::Rows;
using ComplexVector = xsimd::batch<std::complex<float>, Arch>;

inline const std::complex<float>* complexes(const float* p) {
    return reinterpret_cast<const std::complex<float>*>(p);
}
inline std::complex<float>* complexes(float* p) {
    return reinterpret_cast<std::complex<float>*>(p);
}

/// Calls step(n) for whole vectors, the last of which may overlap the one before.
template <class Step>
void steps(int length, Step step) {
    constexpr int width = lanesOf<F>;
    int n = 0;
    for (; n + width <= length; n += width)
        step(n);
    if (n < length)
        step(length - width);
}

constexpr void setFunctions(sorvane::bench::Loop (&loops)[sorvane::bench::numFunctions]) {
    using namespace sorvane::bench;
    loops[functionExp] = loop([](const Rows& r) {
        steps(r.length, [&r](int n) { storeAt(r.dst + n, F(xsimd::exp(loadAt<F>(r.a + n)))); });
    });
    loops[functionLn] = loop([](const Rows& r) {
        steps(r.length, [&r](int n) { storeAt(r.dst + n, F(xsimd::log(loadAt<F>(r.a + n)))); });
    });
    loops[functionPolar] = loop([](const Rows& r) {
        steps(r.length, [&r](int n) {
            const F magnitude = loadAt<F>(r.a + n);
            const auto parts = xsimd::sincos(loadAt<F>(r.b + n));
            ComplexVector(magnitude * parts.second, magnitude * parts.first)
                .store_unaligned(complexes(r.dst + 2 * n));
        });
    });
    loops[functionPhase] = loop([](const Rows& r) {
        steps(r.length, [&r](int n) {
            const ComplexVector z = ComplexVector::load_unaligned(complexes(r.a + 2 * n));
            storeAt(r.dst + n, F(xsimd::atan2(z.imag(), z.real())));
        });
    });
    loops[functionMagnitude] = loop([](const Rows& r) {
        steps(r.length, [&r](int n) {
            const ComplexVector z = ComplexVector::load_unaligned(complexes(r.a + 2 * n));
            storeAt(r.dst + n, F(xsimd::sqrt(z.real() * z.real() + z.imag() * z.imag())));
        });
    });
    loops[functionComplexMul] = loop([](const Rows& r) {
        steps(r.length, [&r](int n) {
            (ComplexVector::load_unaligned(complexes(r.a + 2 * n)) *
             ComplexVector::load_unaligned(complexes(r.b + 2 * n)))
                .store_unaligned(complexes(r.dst + 2 * n));
        });
    });
}

constexpr sorvane::bench::OtherWays makeWays(const char* form) {
    sorvane::bench::OtherWays ways{form, {}, {}, {}};
    setFlat<Plainly>(ways.plain);
    setFlat<ByVectors>(ways.byHand);
    setFunctions(ways.functions);
    return ways;
}

} // namespace
