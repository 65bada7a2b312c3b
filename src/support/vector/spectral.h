#pragma once

// Operations of the spectral chain, in the manner of ipps.h: the same checks and statuses, sources
// may be the destination, any alignment. Each is one pass over memory in place of several.

#include "support/vector/ipps.h"

/// dst[n] = sqrt(re * re + im * im), as ippsMagnitude_32fc, but without overflow and underflow on
/// the way: values too large or too small to be squared take the C library's hypotf. Not in place.
IppStatus vlHypot_32fc(const Ipp32fc* src, Ipp32f* dst, int len);

/// dst[n] = src[n] * w^(g - 1) with x = |src[n]| and w = x + 1e-12 for g below 1, otherwise
/// w = 0.5 - 0.5 * cos(3.1415927 x) + 1e-12, all in single precision. The power is good to 3 units
/// in the last place. It equals ippsMagnitude_32fc, ippsPhase_32fc, the product of magnitude and
/// power, and ippsPolarToCart_32fc, but for rounding and for infinite magnitudes.
IppStatus vlBend_32fc(const Ipp32fc* src, Ipp32fc* dst, int len, Ipp32f g);

/// dst[n] = input[n] * (mask[n] * factor + addend), factor and addend being real: in one pass what
/// ippsSet_32fc, ippsAddProductC_32f on the parts, and ippsMul_32fc give.
IppStatus vlApplyMask_32fc(const Ipp32fc* mask, Ipp32f factor, Ipp32f addend, const Ipp32fc* input,
                           Ipp32fc* dst, int len);

/// dst[n] = (src[n], 0). Not in place.
IppStatus vlRealToCplx_32f(const Ipp32f* src, Ipp32fc* dst, int len);

/// dst[numRows * n + r] = rows[r][n]. Not in place.
IppStatus vlInterleave_32f(const Ipp32f* const* rows, int numRows, Ipp32f* dst, int len);

/// rows[r][n] = src[numRows * n + r]. Not in place.
IppStatus vlDeinterleave_32f(const Ipp32f* src, int numRows, Ipp32f* const* rows, int len);
