#pragma once

// The flat operations that the compound ones equal, for tests and benches to compare with. The
// arguments are those of the compound operations, and valid; weights are not in panels.

#include "support/vector/ipps_compound.h"

namespace sorvane::vector {

void convByFlatOperations(const Ipp32f* const* frames, const Ipp32f* weights, const Ipp32f* bias,
                          int biasStep, Ipp32f* dst, const IppsConvSize_32f& size, bool depthwise);

void convTransposedByFlatOperations(const Ipp32f* src, const Ipp32f* weights, Ipp32f* const* frames,
                                    const IppsConvSize_32f& size, bool depthwise);

void addRowByFlatOperations(const Ipp32f* src, const Ipp32f* row, Ipp32f* dst, int numRows,
                            int len);

void denseByFlatOperations(const Ipp32f* src, const Ipp32f* weights, Ipp32f* dst, int numRows,
                           int channels);

void bandsByFlatOperations(const Ipp32f* src, const IppsBand_32f* bands, int numBands, Ipp32f* dst,
                           int channels);

void filterFramesByFlatOperations(const Ipp32f* const* frames, const Ipp32f* taps, int numTaps,
                                  Ipp32f* dst, int len);

void filterRowsByFlatOperations(const Ipp32f* src, const Ipp32f* taps, int numTaps, Ipp32f* dst,
                                int numRows, int channels);

} // namespace sorvane::vector
