// Real transforms of any length in the destination alone, for lengths whose tables and work buffers
// would not fit 31-bit sizes: plain radix-2 steps, twiddles from two short tables.

#include "support/vector/transform/plan.h"

#include <complex>
#include <utility>

namespace sorvane::vector {

namespace {

using Value = std::complex<double>;

/// exp(-2 pi i k / N), k below N / 2.
Value rootOf(const IppsFFTSpec_R_32f& spec, std::int64_t k) {
    const std::int64_t coarse = k >> spec.fineBits;
    const std::int64_t fine = k & ((std::int64_t{1} << spec.fineBits) - 1);
    const double* a = spec.coarseTwiddles + 2 * coarse;
    const double* b = spec.fineTwiddles + 2 * fine;
    return {a[0] * b[0] - a[1] * b[1], a[0] * b[1] + a[1] * b[0]};
}

Value read(const float* z, std::int64_t k) {
    return {static_cast<double>(z[2 * k]), static_cast<double>(z[2 * k + 1])};
}

void write(float* z, std::int64_t k, Value x) {
    z[2 * k] = static_cast<float>(x.real());
    z[2 * k + 1] = static_cast<float>(x.imag());
}

Value product(Value a, Value b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

void reorder(float* z, std::int64_t size) {
    for (std::int64_t i = 1, j = 0; i < size; ++i) {
        std::int64_t bit = size >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) {
            std::swap(z[2 * i], z[2 * j]);
            std::swap(z[2 * i + 1], z[2 * j + 1]);
        }
    }
}

void transform(const IppsFFTSpec_R_32f& spec, float* z) {
    const std::int64_t size = std::int64_t{1} << (spec.order - 1);
    reorder(z, size);
    for (std::int64_t half = 1; half < size; half *= 2) {
        const std::int64_t step = size / half; // of the twiddle's index, of N-th roots
        for (std::int64_t j = 0; j < half; ++j) {
            const Value w = rootOf(spec, j * step);
            for (std::int64_t i = j; i < size; i += 2 * half) {
                const Value a = read(z, i);
                const Value b = product(w, read(z, i + half));
                write(z, i, a + b);
                write(z, i + half, a - b);
            }
        }
    }
}

} // namespace

IppStatus fftForwardInPlace(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                            Ipp32f*) {
    if (spec->order == 0) {
        dst[0] = src[0];
        dst[1] = 0.0f;
        return ippStsNoErr;
    }
    const std::int64_t size = std::int64_t{1} << (spec->order - 1);
    for (std::int64_t n = 0; n < 2 * size; ++n)
        dst[n] = src[n];
    transform(*spec, dst);
    const Value first = read(dst, 0);
    write(dst, 0, {first.real() + first.imag(), 0.0});
    write(dst, size, {first.real() - first.imag(), 0.0});
    for (std::int64_t k = 1; k <= size / 2; ++k) {
        const Value a = read(dst, k);
        const Value b = std::conj(read(dst, size - k));
        const Value even = (a + b) * 0.5;
        const Value difference = (a - b) * 0.5;
        const Value odd = product(rootOf(*spec, k), {difference.imag(), -difference.real()});
        write(dst, k, even + odd);
        write(dst, size - k, std::conj(even - odd));
    }
    return ippStsNoErr;
}

IppStatus fftInverseInPlace(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                            Ipp32f*) {
    if (spec->order == 0) {
        dst[0] = src[0];
        return ippStsNoErr;
    }
    const std::int64_t size = std::int64_t{1} << (spec->order - 1);
    // The conjugate is transformed forward, and the result conjugated again.
    const double first = read(src, 0).real();
    const double last = read(src, size).real();
    write(dst, 0, {first + last, last - first});
    for (std::int64_t k = 1; k <= size / 2; ++k) {
        const Value a = read(src, k);
        const Value b = std::conj(read(src, size - k));
        const Value even = a + b;
        const Value odd = product(std::conj(rootOf(*spec, k)), a - b);
        write(dst, k, std::conj(Value(even.real() - odd.imag(), even.imag() + odd.real())));
        write(dst, size - k, {even.real() + odd.imag(), even.imag() - odd.real()});
    }
    transform(*spec, dst);
    for (std::int64_t n = 1; n < 2 * size; n += 2)
        dst[n] = -dst[n];
    return ippStsNoErr;
}

} // namespace sorvane::vector
