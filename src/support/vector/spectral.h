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

/// dst[n] = input[n] * (mask[n] * gain + (1 - mask[n]) * remainderGain), the gains being real: a mask
/// and what it leaves over, each by its gain, in one pass. Neither term goes into the other, so that
/// a small one stays beside a large one.
IppStatus vlApplyMask_32fc(const Ipp32fc* mask, Ipp32f gain, Ipp32f remainderGain,
                           const Ipp32fc* input, Ipp32fc* dst, int len);

/// dst[n] = (src[n], 0). Not in place.
IppStatus vlRealToCplx_32f(const Ipp32f* src, Ipp32fc* dst, int len);

/// dst[numRows * n + r] = rows[r][n]. Not in place.
IppStatus vlInterleave_32f(const Ipp32f* const* rows, int numRows, Ipp32f* dst, int len);

/// rows[r][n] = src[numRows * n + r]. Not in place.
IppStatus vlDeinterleave_32f(const Ipp32f* src, int numRows, Ipp32f* const* rows, int len);
