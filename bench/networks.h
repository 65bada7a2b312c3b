#pragma once

#include "processor/sorvane_processor.h"
#include "util/model_file.h"

#include <memory>
#include <string>
#include <vector>

namespace sorvane::bench {

/// A chain of equal convolutions with residual joins between a strided convolution in front and a
/// transposed one at the end, which makes one mask. It stands for networks in which the
/// convolutions carry the work.
struct ConvolutionChain {
    int rows = 128;    // frequency positions of the chain; the spectrum has four times as many bins
    int channels = 24; // of the chain
    int layers = 16;   // convolutions of 3 x 3
    int fftLength = 1024;
    int hop = 512;
    int inputChannels = 1;

    [[nodiscard]] test::ModelFile model() const;

    /// Multiply-adds of one frame, without the additions of joins and biases.
    [[nodiscard]] double multiplyAdds() const;
};

/// A processor of the files, ready for audio at `rate` Hz.
std::unique_ptr<SorvaneProcessor> makeProcessor(const std::vector<std::string>& paths, int channels,
                                                double rate);

/// Noise of a level near that of speech.
Signal32 noise(int channels, int length);

} // namespace sorvane::bench
