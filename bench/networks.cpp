#include "networks.h"

#include <cmath>
#include <random>
#include <stdexcept>

namespace sorvane::bench {

namespace {

using test::FileTensor;

/// Weights that keep the level of what passes about as it was.
FileTensor weights(const std::vector<int>& shape, int numInputs, std::mt19937& generator) {
    FileTensor tensor = test::constantTensor(shape, 0.0F);
    std::normal_distribution<float> value(0.0F, 1.0F / std::sqrt(static_cast<float>(numInputs)));
    for (float& weight : tensor.values)
        weight = value(generator);
    return tensor;
}

} // namespace

test::ModelFile ConvolutionChain::model() const {
    std::mt19937 generator(1);
    test::ModelFile file{.numInputChannels = inputChannels,
                         .inputPacking = {.bins = 4 * rows},
                         .numOutputChannels = inputChannels,
                         .outputPacking = {.bins = 4 * rows},
                         .fftLength = fftLength,
                         .frameLength = fftLength,
                         .hop = hop};
    const auto elu = [&](const std::string& name, const std::string& input) {
        file.layers.push_back(test::activation(name, 5, input));
        return name;
    };
    file.layers.push_back(test::conv(
        "head", "input", weights({1, 4, inputChannels, channels}, 4 * inputChannels, generator),
        test::constantTensor({channels}, 0.0F), {.strideF = 4}));
    std::string last = elu("head.elu", "head");
    for (int i = 0; i < layers; ++i) {
        const std::string name = "conv" + std::to_string(i);
        file.layers.push_back(
            test::conv(name, last, weights({3, 3, channels, channels}, 9 * channels, generator),
                       test::constantTensor({channels}, 0.0F)));
        const std::string bent = elu(name + ".elu", name);
        file.layers.push_back(test::arithmetic(name + ".join", {last, bent}, 0));
        last = name + ".join";
    }
    file.layers.push_back(test::transposedConv(
        "tail", last, weights({1, 4, inputChannels, channels}, channels, generator),
        test::constantTensor({inputChannels}, 0.0F), inputChannels, {.strideF = 4}));
    file.layers.push_back(test::activation("mask", 6, "tail"));
    file.outputSource = "mask";
    return file;
}

double ConvolutionChain::multiplyAdds() const {
    const double ends = 2.0 * rows * 4 * inputChannels * channels;
    return ends + static_cast<double>(layers) * rows * 9 * channels * channels;
}

std::unique_ptr<SorvaneProcessor> makeProcessor(const std::vector<std::string>& paths, int channels,
                                                double rate) {
    auto processor = std::make_unique<SorvaneProcessor>();
    const AudioFormat format = defaultFormat(channels, rate);
    if (!processor->loadModels(paths) || !processor->setFormats(format, format))
        throw std::runtime_error("can't run " + paths.front());
    return processor;
}

Signal32 noise(int channels, int length) {
    std::mt19937 generator(2);
    std::normal_distribution<float> sample(0.0F, 0.1F);
    Signal32 signal(channels, length);
    for (int c = 0; c < channels; ++c)
        for (int i = 0; i < length; ++i)
            signal.channelData(c)[i] = sample(generator);
    return signal;
}

} // namespace sorvane::bench
