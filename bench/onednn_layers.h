#pragma once

#include "comparison.h"

#include <vector>

namespace sorvane::bench {

/// A convolution of one output frame, or a transposed one of one input frame.
struct ConvolutionShape {
    int rows; // of the input
    int inChannels;
    int outChannels;
    int kernelT;
    int kernelF;
    int strideF = 1;
    bool depthwise = false; // outChannels is then inChannels
    bool transposed = false;

    [[nodiscard]] double multiplyAdds() const;
};

/// oneDNN's ways to compute it with bias, on one thread and with the instructions of the form in use:
/// channels-last, and in blocks of channels where it has that. Weights and data have the formats that
/// it prefers; bringing them there isn't timed. Formats that only its reference code takes are left
/// out. (One thread: the process is pinned to a core.)
std::vector<Side> oneDnnSides(const ConvolutionShape& shape);

/// The same for the product of a rows x rows matrix with a vector.
std::vector<Side> oneDnnMatrixSides(int rows);

} // namespace sorvane::bench
