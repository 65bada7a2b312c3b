#pragma once

// Complex arithmetic on vectors, and the butterflies of the transform's passes.

#include "support/vector/transform/plan.h"

namespace {

using sorvane::vector::FftPass;

template <class V>
inline Complex<V> operator+(Complex<V> a, Complex<V> b) {
    return {a.re + b.re, a.im + b.im};
}

template <class V>
inline Complex<V> operator-(Complex<V> a, Complex<V> b) {
    return {a.re - b.re, a.im - b.im};
}

/// A complex row whose real and imaginary parts are apart.
struct Split {
    float* re;
    float* im;
};

template <class V>
inline Complex<V> load(Split row, std::ptrdiff_t n) {
    return {loadAt<V>(row.re + n), loadAt<V>(row.im + n)};
}

template <class V>
inline void store(Split row, std::ptrdiff_t n, Complex<V> z) {
    storeAt(row.re + n, z.re);
    storeAt(row.im + n, z.im);
}

template <class V>
inline void butterfly(Complex<V> (&z)[2]) {
    const Complex<V> a = z[0];
    z[0] = a + z[1];
    z[1] = a - z[1];
}

template <class V>
inline void butterfly(Complex<V> (&z)[4]) {
    const Complex<V> sum0 = z[0] + z[2], difference0 = z[0] - z[2];
    const Complex<V> sum1 = z[1] + z[3], difference1 = z[1] - z[3];
    z[0] = sum0 + sum1;
    z[2] = sum0 - sum1;
    z[1] = {difference0.re + difference1.im, difference0.im - difference1.re};
    z[3] = {difference0.re - difference1.im, difference0.im + difference1.re};
}

/// Two butterflies of four, of which the second one's outputs are turned by eighths: the products
/// with sqrt(1/2) are within the sums that follow.
template <class V>
inline void butterfly(Complex<V> (&z)[8]) {
    const V h(0.707106781f);
    Complex<V> even[4] = {z[0], z[2], z[4], z[6]};
    Complex<V> odd[4] = {z[1], z[3], z[5], z[7]};
    butterfly(even);
    butterfly(odd);
    const Complex<V> a{odd[1].re + odd[1].im, odd[1].im - odd[1].re};
    const Complex<V> b{odd[3].im - odd[3].re, odd[3].re + odd[3].im}; // its imaginary part negated
    z[0] = even[0] + odd[0];
    z[4] = even[0] - odd[0];
    z[1] = {mulAdd(a.re, h, even[1].re), mulAdd(a.im, h, even[1].im)};
    z[5] = {negMulAdd(a.re, h, even[1].re), negMulAdd(a.im, h, even[1].im)};
    z[2] = {even[2].re + odd[2].im, even[2].im - odd[2].re};
    z[6] = {even[2].re - odd[2].im, even[2].im + odd[2].re};
    z[3] = {mulAdd(b.re, h, even[3].re), negMulAdd(b.im, h, even[3].im)};
    z[7] = {negMulAdd(b.re, h, even[3].re), mulAdd(b.im, h, even[3].im)};
}

template <class V>
struct NarrowerVector {
    using Type = Narrower;
};
#if defined(__AVX2__)
template <>
struct NarrowerVector<Four> {
    using Type = float;
};
#endif
#if defined(__AVX512F__)
template <>
struct NarrowerVector<Eight> {
    using Type = Four;
};
#endif

/// The vectors of half as many lanes, or single floats.
template <class V>
using NarrowerThan = typename NarrowerVector<V>::Type;

/// Where vector j of the four that a butterfly of several quads fills belongs: those of one quad
/// lie together, and the next quad is four butterflies on.
template <std::ptrdiff_t Lanes>
inline std::ptrdiff_t quadOffset(std::ptrdiff_t butterfly, std::ptrdiff_t j) {
    constexpr std::ptrdiff_t perQuad = 16 / Lanes;
    return 16 * (butterfly + 4 * (j / perQuad)) + Lanes * (j % perQuad);
}

} // namespace
