#pragma once

#include "util/model_file.h"

#include <string>
#include <vector>

namespace sorvane::test {

// One layer with everything that any kind stores. Which members a kind uses:
//   2 convolution              weights [Kt, Kf, Cin, Cout], bias, parameters
//   3 transposed convolution   weights [Kt, Kf, group, Cin], bias, outputChannels, parameters
//   7 norm                     weights [C] as the scale, bias, code as the mode
//   12 leaky ReLU              slope
//   14 dense                   weights [F, F, C], bias
//   15 separable convolution   timeTaps, weights as the frequency taps
//   16 pre-norm                weights [N] as the window
//   18 arithmetic              code as the operation
//   19 self-attention          weights [C, C], bias [F, C], timeTaps [K, C], parameters.delay
//   22 frequency rescale       bands
//   23 AR pre-norm             attack, release, epsilon
// The others have nothing beyond their inputs.
struct LayerDescription {
    int kind = 0;
    std::string name;
    std::vector<std::string> inputs;
    FileTensor weights{};
    FileTensor bias{};
    FileTensor timeTaps{};
    ConvParameters parameters{};
    int outputChannels = 0;
    int code = 0;
    float slope = 0.0F;
    float attack = 0.0F;
    float release = 0.0F;
    float epsilon = 0.0F;
    std::vector<RescaleBand> bands{};
};

struct NetworkDescription {
    int version = 0x100A;
    int positions = 1; // F and C of the input
    int channels = 1;
    // Some layer can't take several frames in one tensor.
    bool singleFrames = false;
    std::vector<LayerDescription> layers{};
    std::string outputSource = "input";

    ModelFile modelFile() const;
    // One line a layer, for the messages of failing tests.
    std::string text() const;
};

// What a half float of a model file stands for.
double halfValue(unsigned bits);

} // namespace sorvane::test
