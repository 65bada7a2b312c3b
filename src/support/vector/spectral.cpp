#include "support/vector/spectral.h"

#include "support/vector/checks.h"
#include "support/vector/dispatch.h"

using sorvane::vector::kernels;

namespace {

/// The checks of an operation on rows of their own. More than two are copied one value at a time.
IppStatus checkInterleaved(const void* samples, const Ipp32f* const* rows, int numRows, int len) {
    if (!samples || !rows)
        return ippStsNullPtrErr;
    for (int r = 0; r < numRows; ++r)
        if (!rows[r])
            return ippStsNullPtrErr;
    return len < 1 || numRows < 1 ? ippStsSizeErr : ippStsNoErr;
}

} // namespace

IppStatus vlHypot_32fc(const Ipp32fc* src, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().hypot32fc(src, dst, len);
}

IppStatus vlBend_32fc(const Ipp32fc* src, Ipp32fc* dst, int len, Ipp32f g) {
    SORVANE_CHECK_ROWS(len, src, dst);
    // Far beyond any use the power is 0 or 1 already; an infinite exponent would have no parts.
    return kernels().bend32fc(src, dst, len, g > 1e30f ? 1e30f : g);
}

IppStatus vlApplyMask_32fc(const Ipp32fc* mask, Ipp32f gain, Ipp32f remainderGain,
                           const Ipp32fc* input, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, mask, input, dst);
    return kernels().applyMask32fc(mask, gain, remainderGain, input, dst, len);
}

IppStatus vlRealToCplx_32f(const Ipp32f* src, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().realToCplx32f(src, dst, len);
}

IppStatus vlInterleave_32f(const Ipp32f* const* rows, int numRows, Ipp32f* dst, int len) {
    if (const IppStatus status = checkInterleaved(dst, rows, numRows, len); status != ippStsNoErr)
        return status;
    if (numRows == 1)
        return ippsCopy_8u(reinterpret_cast<const Ipp8u*>(rows[0]), reinterpret_cast<Ipp8u*>(dst),
                           len * static_cast<int>(sizeof(Ipp32f)));
    if (numRows == 2)
        return kernels().interleavePair32f(rows[0], rows[1], dst, len);
    for (int r = 0; r < numRows; ++r)
        for (int n = 0; n < len; ++n)
            dst[static_cast<std::ptrdiff_t>(n) * numRows + r] = rows[r][n];
    return ippStsNoErr;
}

IppStatus vlDeinterleave_32f(const Ipp32f* src, int numRows, Ipp32f* const* rows, int len) {
    if (const IppStatus status = checkInterleaved(src, rows, numRows, len); status != ippStsNoErr)
        return status;
    if (numRows == 1)
        return ippsCopy_8u(reinterpret_cast<const Ipp8u*>(src), reinterpret_cast<Ipp8u*>(rows[0]),
                           len * static_cast<int>(sizeof(Ipp32f)));
    if (numRows == 2)
        return kernels().deinterleavePair32f(src, rows[0], rows[1], len);
    for (int r = 0; r < numRows; ++r)
        for (int n = 0; n < len; ++n)
            rows[r][n] = src[static_cast<std::ptrdiff_t>(n) * numRows + r];
    return ippStsNoErr;
}
