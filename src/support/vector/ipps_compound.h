#pragma once

// Compound operations of the vector layer: whole sequences of flat operations (ipps.h) in one call,
// with the sums held in registers.
//
// Each is documented with the sequence that it equals, and in one form of the layer it gives the same
// bits, but for which NaN a NaN is, and for the dot products of the transposed convolutions, whose
// order is free. The conventions are those of ipps.h: a null pointer gives ippStsNullPtrErr, a size
// out of its range ippStsSizeErr, the pointers are checked first, an error writes nothing; reentrant,
// no lock, no allocation. Sources and destinations don't overlap. Nothing is read or written outside
// the rows that the sizes name; what these rows hold is up to the caller, as with a length.
//
// Weights of convolutions are a matrix: one row of output channels for each product that an output
// channel sums. They come in panels, blocks of adjacent columns one after another, each block row by
// row: with a panel width of w, element (row, column) of a matrix of R rows stands at
// p * w * R + row * (the panel's own width) + column - p * w, p being column / w; the last panel may
// be narrower. At least ippPanelPadding floats of any value follow the last one. A panel width of 0
// stands for weights as the flat operations take them, and makes the operation call these.

#include "support/vector/ipps.h"

/// Floats that may be read after the last panel.
inline constexpr int ippPanelPadding = 16;

/// The width of panels that suits the form in use, for a matrix of so many columns. Weights packed
/// with it work in every form. 0 while the flat operations are to be used.
int ippsPanelWidth(int columns);

/// The rows of a convolution over a frequency axis. Output row o and kernel position j meet row
/// firstRow + o * stride + j of a frame; positions that meet none are left out. In a transposed
/// convolution input and output change places: row i of the input adds to rows
/// firstRow + i * stride + j of the output.
struct IppsConvSize_32f {
    int inRows;
    int inStep; // floats from a row to the next
    int inChannels;
    int outRows;
    int outStep;
    int outChannels;
    int numFrames;  // kernel positions in time
    int kernelRows; // kernel positions in frequency
    int stride;
    int firstRow;
};

/// A convolution of numFrames frames into one. `frames` has the frames; `weights` a matrix of
/// numFrames * kernelRows * inChannels rows in panels; `bias` may be null for zeros, biasStep is the
/// distance from the bias of an output row to that of the next, 0 where all have the same.
/// All sizes from 1 up, but for numFrames, which may be 0 (there are then no products, and `frames`
/// and `weights` may be null), biasStep from 0 and firstRow of any sign.
///
/// Equals, for each output row: ippsCopy_8u of the bias into it (ippsZero_32f without one); then for
/// each frame, for each kernel position that meets a row, for each input channel,
/// ippsAddProductC_32f(weights of the product, the input value, the output row, outChannels).
/// With a panel width of 0 the matrix stands row by row.
IppStatus ippsConv_32f(const Ipp32f* const* frames, const Ipp32f* weights, int panelWidth,
                       const Ipp32f* bias, int biasStep, Ipp32f* dst, const IppsConvSize_32f* size);

/// The same, each channel by itself: `weights` is a matrix of numFrames * kernelRows rows and
/// outChannels columns. The inChannels are at most outChannels; further output channels get the bias
/// alone.
///
/// Equals the above with, for each kernel position that meets a row,
/// ippsAddProduct_32f(weights of the position, the input row, the output row, inChannels).
IppStatus ippsConvDepthwise_32f(const Ipp32f* const* frames, const Ipp32f* weights, int panelWidth,
                                const Ipp32f* bias, int biasStep, Ipp32f* dst,
                                const IppsConvSize_32f* size);

/// A transposed convolution: adds what one frame makes to numFrames output frames. `weights` is a
/// matrix as of ippsConv_32f.
///
/// Equals, for each output frame, input row, kernel position that meets an output row, and output
/// channel: adding to the output the ippsDotProd_32f of the input row with the weights of that
/// channel. With a panel width of 0 the weights are [numFrames][kernelRows][outChannels][inChannels].
IppStatus ippsConvTransposed_32f(const Ipp32f* src, const Ipp32f* weights, int panelWidth,
                                 Ipp32f* const* frames, const IppsConvSize_32f* size);

/// The same, each channel by itself: `weights` is a matrix of numFrames * kernelRows rows and
/// inChannels columns; outChannels counts for nothing.
///
/// Equals, for each output frame, input row and kernel position that meets an output row,
/// ippsAddProduct_32f(weights of the position, the input row, the output row, inChannels).
IppStatus ippsConvTransposedDepthwise_32f(const Ipp32f* src, const Ipp32f* weights, int panelWidth,
                                          Ipp32f* const* frames, const IppsConvSize_32f* size);

/// A row added to each of numRows rows of `len` values, one after another.
///
/// Equals ippsAdd_32f(a row of src, row, a row of dst, len) for each of them.
IppStatus ippsAddRow_32f(const Ipp32f* src, const Ipp32f* row, Ipp32f* dst, int numRows, int len);

/// The product of a matrix of numRows x numRows rows of `channels` weights (not in panels) with
/// numRows rows, each channel by itself.
///
/// Equals, for each output row: ippsZero_32f, then for each input row
/// ippsAddProduct_32f(the input row, the weights of the pair, the output row, channels).
IppStatus ippsDense_32f(const Ipp32f* src, const Ipp32f* weights, Ipp32f* dst, int numRows,
                        int channels);

/// A run of `length` rows (at least 1), beginning with row `start`, and the weights of each.
struct IppsBand_32f {
    const Ipp32f* weights;
    int start;
    int length;
};

/// Weighted sums of runs of rows of `channels` values, a row for each band.
///
/// Equals, for each band: ippsMulC_32f(its first row, its first weight, the output row, channels),
/// then ippsAddProductC_32f for each further row.
IppStatus ippsBands_32f(const Ipp32f* src, const IppsBand_32f* bands, int numBands, Ipp32f* dst,
                        int channels);

/// A weighted sum of frames: the frames times their taps.
///
/// Equals ippsMulC_32f(frames[0], taps[0], dst, len), then ippsAddProductC_32f for each further one.
IppStatus ippsFilterFrames_32f(const Ipp32f* const* frames, const Ipp32f* taps, int numTaps,
                               Ipp32f* dst, int len);

/// A filter over the rows of a frame: tap q adds the row that lies q - (numTaps - 1) / 2 before.
///
/// Equals ippsMulC_32f by the middle tap, then for each other tap in rising order ippsAddProductC_32f
/// of the rows that have one at its distance.
IppStatus ippsFilterRows_32f(const Ipp32f* src, const Ipp32f* taps, int numTaps, Ipp32f* dst,
                             int numRows, int channels);
