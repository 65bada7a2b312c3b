#pragma once

// What the compound operations with weights come down to in every form of the vector layer.

#include <cstddef>

namespace sorvane::vector {

/// Sums of products of rows with weights; all steps count floats. For output row o and column c
///
///   out[o][c] = init[o][c] + sum over k, j, i of frames[k][row(o, j)][i] * weights[k][j][i][c]
///   row(o, j) = firstRow + o * stride + j
///
/// where positions j whose row lies outside the frame are left out. The products of an element are
/// added in the order of k, then j, then i, each with one multiply-add of the form.
///
/// In correlations by column every column has factors of its own: frames[k][row(o, j)][c] stands in
/// place of the factor above, and `channels` is 1.
struct Correlation {
    const float* const* frames;
    int numFrames; // k; at least 1, like all other sizes
    int numRows;   // of a frame
    std::ptrdiff_t rowStep;
    std::ptrdiff_t firstFactor; // i of the first channel or column within a row

    const float* weights; // a row of weights for each product, one after another
    std::ptrdiff_t weightStep;
    int positions; // j
    int channels;  // i

    const float* init; // null for zeros; may be `out`
    std::ptrdiff_t initStep;
    float* out;
    std::ptrdiff_t outStep;
    int outRows;
    int columns;
    /// Adds the sums to what `out` holds, rather than putting them there. There is then one frame and
    /// one position, which every row meets.
    bool addsToOutput;

    int firstRow;
    int stride;
};

} // namespace sorvane::vector
