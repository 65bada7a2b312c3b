#pragma once

// Sums over rows, in four vectors at a time, which hides the latency of the additions.

namespace {

inline IppStatus dotProd32f(const float* src1, const float* src2, int len, float* result) {
    F sums[4] = {F(0.0f), F(0.0f), F(0.0f), F(0.0f)};
    std::ptrdiff_t n = 0;
    for (; n + 4 * W <= len; n += 4 * W) {
        for (int i = 0; i < 4; ++i)
            sums[i] = mulAdd(loadAt<F>(src1 + n + i * W), loadAt<F>(src2 + n + i * W), sums[i]);
    }
    for (; n + W <= len; n += W)
        sums[0] = mulAdd(loadAt<F>(src1 + n), loadAt<F>(src2 + n), sums[0]);
    if (n < len)
        sums[1] =
            mulAdd(loadZeroPadded(src1 + n, len - n), loadZeroPadded(src2 + n, len - n), sums[1]);
    *result = sumOf((sums[0] + sums[1]) + (sums[2] + sums[3]));
    return ippStsNoErr;
}

inline IppStatus dotProd64f(const double* src1, const double* src2, int len, double* result) {
    constexpr std::ptrdiff_t lanes = lanesOf<D>;
    D sums[4] = {D(0.0), D(0.0), D(0.0), D(0.0)};
    std::ptrdiff_t n = 0;
    for (; n + 4 * lanes <= len; n += 4 * lanes) {
        for (int i = 0; i < 4; ++i)
            sums[i] = mulAdd(loadDoubles(src1 + n + i * lanes), loadDoubles(src2 + n + i * lanes),
                             sums[i]);
    }
    double sum = sumOf((sums[0] + sums[1]) + (sums[2] + sums[3]));
    for (; n < len; ++n)
        sum = mulAdd(src1[n], src2[n], sum);
    *result = sum;
    return ippStsNoErr;
}

inline IppStatus normL232f(const float* src, int len, float* result) {
    dotProd32f(src, src, len, result);
    *result = squareRoot(*result);
    return ippStsNoErr;
}

} // namespace
