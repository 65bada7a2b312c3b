// Each kind of layer, a frame at a time: beside oneDNN where it has the operation, and beside the
// flat operations of the vector layer, one call for each row of weights.

#include "comparison.h"
#include "onednn_layers.h"
#include "registration.h"

#include "model/neural_model.h"
#include "support/vector/dispatch.h"
#include "util/memory_stream.h"
#include "util/model_file.h"

#include <cstdio>
#include <random>
#include <stdexcept>

namespace sorvane::bench {

namespace {

test::FileTensor weights(const std::vector<int>& shape) {
    static std::mt19937 generator(3);
    std::uniform_real_distribution<float> value(-0.1F, 0.1F);
    test::FileTensor tensor = test::constantTensor(shape, 0.0F);
    for (float& weight : tensor.values)
        weight = value(generator);
    return tensor;
}

/// Time of one frame of a layer without successors, its frame's way into the ring included.
Side layerSide(const std::string& name, const test::FileLayer& layer, int rows, int channels,
               bool flat) {
    vector::usesFlatSequences.store(flat);
    test::ModelFile file;
    file.layers = {layer};
    auto model = std::make_shared<NeuralModel<float>>();
    if (!model->load(std::make_shared<test::MemoryStream>(file.bytes())))
        throw std::runtime_error("can't load the layer " + name);
    vector::usesFlatSequences.store(false);
    Tensor32 frame({1, rows, channels});
    const test::FileTensor values = weights({rows * channels});
    std::copy(values.values.begin(), values.values.end(), frame.writableElements());
    BaseLayer<float>* const timed = model->layers.at(layer.name).get();
    return {name, [=](benchmark::State& state) {
                vector::usesFlatSequences.store(flat);
                for (auto _ : state) {
                    timed->forward(frame, nullptr);
                    benchmark::ClobberMemory();
                }
                vector::usesFlatSequences.store(false);
                benchmark::DoNotOptimize(model);
            }};
}

/// Two comparisons of a layer: with oneDNN's sides, if there are any, and with flat operations.
void addLayer(const std::string& name, const test::FileLayer& layer, int rows, int channels,
              double multiplyAdds, std::vector<Side> oneDnn, const Goal& oneDnnGoal,
              const Goal& flatGoal) {
    const Side ours = layerSide("ours", layer, rows, channels, false);
    if (!oneDnn.empty()) {
        oneDnn.insert(oneDnn.begin(), ours);
        add({.group = "Layers beside oneDNN, a frame",
             .name = name,
             .sides = std::move(oneDnn),
             .goal = oneDnnGoal,
             .operations = 2 * multiplyAdds});
    }
    add({.group = "Layers beside flat operations, a frame",
         .name = name,
         .sides = {ours, layerSide("row by row", layer, rows, channels, true)},
         .goal = flatGoal,
         .operations = 2 * multiplyAdds});
}

struct ConvolutionCase {
    ConvolutionShape shape;
    Goal oneDnnGoal = {};
    Goal flatGoal = {};
};

std::string nameOf(const ConvolutionShape& s) {
    char text[96];
    const char* kind = s.transposed ? "transposed " : s.depthwise ? "depthwise " : "";
    std::snprintf(text, sizeof text, "%sconvolution %d, %d to %d, %dx%d%s", kind, s.rows,
                  s.inChannels, s.outChannels, s.kernelT, s.kernelF,
                  s.strideF > 1 ? (", stride " + std::to_string(s.strideF)).c_str() : "");
    return text;
}

void addConvolution(const ConvolutionCase& c) {
    const ConvolutionShape& s = c.shape;
    const test::ConvParameters parameters = {.strideF = s.strideF};
    const int factors = s.depthwise ? 1 : s.inChannels;
    const test::FileLayer layer =
        s.transposed
            ? test::transposedConv(
                  "layer", "input",
                  weights({s.kernelT, s.kernelF, s.depthwise ? 1 : s.outChannels, s.inChannels}),
                  weights({s.outChannels}), s.outChannels, parameters)
            : test::conv("layer", "input", weights({s.kernelT, s.kernelF, factors, s.outChannels}),
                         weights({s.outChannels}), parameters);
    addLayer(nameOf(s), layer, s.rows, s.inChannels, s.multiplyAdds(), oneDnnSides(s), c.oneDnnGoal,
             c.flatGoal);
}

constexpr Goal beside(double aim) {
    return {.atLeast = 1.0, .aim = aim};
}
constexpr Goal fewChannels = {.atLeast = 1.0, .aim = 0.6};
constexpr Goal besideFlat = {.atLeast = 0.5, .aim = 0.15};

const std::vector<ConvolutionCase> convolutions = {
    {{64, 16, 16, 3, 3}, beside(0.75)},
    {{128, 24, 24, 3, 3}, beside(0.92)},
    {{257, 1, 16, 3, 5}, beside(0.73)},
    {{32, 64, 64, 2, 3}, beside(0.92)},
    {{96, 6, 4, 1, 5}, fewChannels},
    {{96, 8, 8, 1, 5}, fewChannels},
    {{96, 8, 1, 1, 3}, fewChannels},
    {{64, 20, 36, 3, 3}},
    {{256, 16, 32, 1, 3, 2}, {}, besideFlat},
    {{128, 24, 24, 2, 4, 2}, {}, besideFlat},
    {{128, 24, 24, 3, 3, 1, true}, {}, besideFlat},
    {{96, 6, 6, 3, 3, 1, true}, {}, besideFlat},
    {{64, 32, 16, 1, 4, 2, false, true}, {}, besideFlat},
    {{128, 24, 4, 1, 4, 4, false, true}, {}, besideFlat},
    {{64, 24, 24, 1, 4, 2, true, true}, {}, besideFlat},
};

void addOthers() {
    for (const auto& [rows, channels] : {std::pair{64, 16}, {64, 1}, {257, 1}, {32, 5}}) {
        const test::FileLayer layer = test::dense("layer", "input", weights({rows, rows, channels}),
                                                  weights({rows, channels}));
        addLayer("dense " + std::to_string(rows) + " x " + std::to_string(channels), layer, rows,
                 channels, double{1} * rows * rows * channels,
                 channels == 1 ? oneDnnMatrixSides(rows) : std::vector<Side>{}, {}, besideFlat);
    }
    for (const auto& [rows, channels, taps] :
         {std::tuple{64, 16, 0}, {64, 16, 5}, {128, 48, 0}, {96, 5, 3}}) {
        const test::FileLayer layer = test::selfAttention(
            "layer", "input", weights({channels, channels}), weights({rows, channels}), 0,
            taps > 0 ? weights({taps, channels}) : test::FileTensor{});
        const ConvolutionShape mix = {rows, channels, channels, 1, 1};
        addLayer("attention " + std::to_string(rows) + " x " + std::to_string(channels) + ", " +
                     std::to_string(taps) + " taps",
                 layer, rows, channels, mix.multiplyAdds() + double{1} * rows * channels * taps,
                 taps > 0 ? std::vector<Side>{} : oneDnnSides(mix), {}, besideFlat);
    }
    for (const auto& [rows, channels] : {std::pair{128, 24}, {96, 3}}) {
        const test::FileLayer layer =
            test::separableChannelConv("layer", "input", weights({5}), weights({7}));
        addLayer("separable 5x7, " + std::to_string(rows) + " x " + std::to_string(channels), layer,
                 rows, channels, 12.0 * rows * channels, {}, {}, {});
    }
    for (const int channels : {1, 4, 24}) {
        std::vector<test::RescaleBand> bands;
        for (int b = 0; b < 64; ++b)
            bands.push_back({4 * b, weights({5})});
        addLayer("rescale 64 bands of 5 x " + std::to_string(channels),
                 test::frequencyRescale("layer", "input", bands), 257, channels,
                 5.0 * 64 * channels, {}, {}, {});
    }
}

} // namespace

void addLayers() {
    for (const ConvolutionCase& c : convolutions)
        addConvolution(c);
    addOthers();
}

} // namespace sorvane::bench
