#include "util/u_network.h"

#include <cmath>
#include <random>

namespace sorvane::test {

namespace {

/// Builds a network layer by layer, each on the one before.
class Builder {
public:
    explicit Builder(ModelFile& model) : m_model(model) {}

    /// Weights that keep the level of what passes about as it was.
    FileTensor weights(const std::vector<int>& shape, int numInputs) {
        FileTensor tensor = constantTensor(shape, 0.0F);
        std::normal_distribution<float> value(0.0F,
                                              1.0F / std::sqrt(static_cast<float>(numInputs)));
        for (float& weight : tensor.values)
            weight = value(m_generator);
        return tensor;
    }

    const std::string& add(const FileLayer& layer) { return m_model.add(layer); }

    [[nodiscard]] std::string last() const { return m_model.outputSource; }

private:
    ModelFile& m_model;
    std::mt19937 m_generator{7};
};

} // namespace

ModelFile uNetwork(int levels) {
    constexpr int channels = 8;
    ModelFile file{
        .sampleRate = 16000, .inputPacking = {.bins = 256}, .outputPacking = {.bins = 256}};
    Builder network(file);
    const auto convolve = [&](const std::string& name, int in, int stride) {
        network.add(conv(name, network.last(), network.weights({2, 3, in, channels}, 6 * in),
                         constantTensor({channels}, 0.0F), {.strideT = stride, .strideF = stride}));
        network.add(activation(name + ".elu", 5, name));
    };

    std::vector<std::string> across;
    convolve("first", 1, 1);
    for (int level = 1; level <= levels; ++level) {
        across.push_back(network.last());
        convolve("down" + std::to_string(level), channels, 2);
    }
    convolve("middle", channels, 1);
    for (int level = levels; level >= 1; --level) {
        const std::string name = "up" + std::to_string(level);
        network.add(transposedConv(
            name, network.last(), network.weights({2, 2, channels, channels}, 2 * channels),
            constantTensor({channels}, 0.0F), channels, {.strideT = 2, .strideF = 2}));
        network.add(concat(name + ".join", {name, across.back()}));
        across.pop_back();
        convolve(name + ".mix", 2 * channels, 1);
    }
    network.add(conv("last", network.last(), network.weights({1, 1, channels, 1}, channels), {}));
    network.add(activation("mask", 6, "last"));
    return file;
}

ModelFile everyKindNetwork(int inputChannels) {
    constexpr int rows = 33;
    constexpr int channels = 4;
    ModelFile file{.numInputChannels = inputChannels,
                   .inputPacking = {.bins = rows},
                   .outputPacking = {.bins = rows},
                   .fftLength = 64,
                   .frameLength = 64,
                   .hop = 32};
    Builder n(file);
    n.add(conv("first", n.last(), n.weights({2, 3, inputChannels, channels}, 6), {}));
    n.add(preNorm("preNorm", n.last(), {{3}, {0.5F, 0.3F, 0.2F}}));
    n.add(norm("norm", n.last(), 1, constantTensor({channels}, 1.0F), {}));
    const std::string early = n.add(leakyReLU("leaky", n.last(), 0.1F));
    n.add(dense("dense", early, n.weights({rows, rows, channels}, rows), {}));
    n.add(selfAttention("attention", n.last(), n.weights({channels, channels}, channels),
                        constantTensor({rows, channels}, 0.1F), 2, n.weights({3, channels}, 3)));
    n.add(separableChannelConv("separable", n.last(), n.weights({5}, 5), n.weights({3}, 3)));
    n.add(activation("elu", 5, n.last()));
    n.add(arithmetic("sum", {n.last(), early}, 2));
    n.add(conv("down", n.last(), n.weights({2, 3, channels, channels}, 12), {}, {.strideT = 3}));
    n.add(activation("relu", 4, n.last()));
    n.add(transposedConv("up", n.last(), n.weights({3, 1, channels, channels}, channels), {},
                         channels, {.strideT = 3}));
    n.add(concat("join", {n.last(), "sum"}));
    n.add(conv("mix", n.last(), n.weights({1, 1, 2 * channels, channels}, 2 * channels), {}));
    std::vector<RescaleBand> bands;
    for (int b = 0; b < rows; ++b)
        bands.push_back({std::min(b, rows - 2), {{2}, {0.5F, 0.5F}}});
    n.add(frequencyRescale("rescale", n.last(), bands));
    n.add(activation("softplus", 17, n.last()));
    n.add(arPreNorm("follow", n.last(), 0.5F, 0.9F, 0.1F));
    n.add(activation("hard", 20, n.last()));
    n.add(conv("last", n.last(), n.weights({1, 1, channels, 1}, channels), {}));
    n.add(activation("mask", 6, n.last()));
    return file;
}

} // namespace sorvane::test
