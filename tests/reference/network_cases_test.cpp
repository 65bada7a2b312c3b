#include "reference/network_comparison.h"

#include <gtest/gtest.h>

// Small networks for what random ones seldom meet, in the engine against the reference.
namespace sorvane::test {
namespace {

// All values suit both storages, so that a network can be written in any version.
FileTensor tensor(const std::vector<int>& shape, double amplitude = 1.0) {
    static Random random(1);
    return randomTensor(random, shape, amplitude, 0);
}

LayerDescription convLayer(const std::string& name, const std::string& input,
                           const std::vector<int>& shape, const ConvParameters& parameters = {}) {
    LayerDescription layer{2, name, {input}, tensor(shape), tensor({shape[3]})};
    layer.parameters = parameters;
    return layer;
}

LayerDescription transposedLayer(const std::string& name, const std::string& input,
                                 const std::vector<int>& shape, int outputChannels,
                                 const ConvParameters& parameters = {}) {
    LayerDescription layer{3, name, {input}, tensor(shape), tensor({outputChannels})};
    layer.outputChannels = outputChannels;
    layer.parameters = parameters;
    return layer;
}

LayerDescription attentionLayer(const std::string& name, const std::string& input, int positions,
                                int channels, int taps, int delay) {
    LayerDescription layer{
        19, name, {input}, tensor({channels, channels}), tensor({positions, channels})};
    layer.timeTaps = tensor({taps, channels});
    layer.parameters.delay = delay;
    return layer;
}

LayerDescription joinLayer(const std::string& name, const Inputs& inputs, int kind, int code = 0) {
    LayerDescription layer{kind, name, inputs};
    layer.code = code;
    return layer;
}

// The last layer is the output.
NetworkDescription network(int positions, int channels,
                           const std::vector<LayerDescription>& layers) {
    NetworkDescription result{0x100A, positions, channels};
    result.layers = layers;
    result.outputSource = layers.back().name;
    for (const LayerDescription& layer : layers)
        result.singleFrames = result.singleFrames || layer.parameters.delay > 0;
    return result;
}

void expectReference(const std::string& name, const NetworkDescription& description) {
    ComparisonCounts counts;
    EXPECT_EQ(differenceToReference(description, 7, counts), "")
        << name << ", " << description.text();
}

TEST(NetworkCases, AStrideBeyondTheAxisLeavesNothing) {
    expectReference("no position", network(3, 2, {convLayer("a", "input", {2, 3, 2, 3}, {1, 4})}));
}

// Bursts go on one frame a tick where the tick's other frames reach an output, at once where a join
// waits or a stride skips them.
TEST(NetworkCases, BurstsOfTransposedLayers) {
    const auto down = convLayer("down", "input", {2, 1, 2, 2}, {3});
    const auto up = transposedLayer("up", "down", {4, 1, 2, 2}, 2, {3});
    const auto late = convLayer("late", "input", {1, 1, 2, 2}, {1, 1, 1, 0, 4});
    const auto sum = joinLayer("sum", {"up", "late"}, 18, 2);
    const auto skip = convLayer("skip", "up", {1, 1, 2, 2}, {2});
    const auto upAgain = transposedLayer("upAgain", "skip", {2, 1, 2, 2}, 2, {2});
    const auto held = attentionLayer("held", "up", 3, 2, 2, 2);
    const auto tail = convLayer("tail", "sum", {2, 3, 2, 1});
    const std::vector<std::pair<const char*, std::vector<LayerDescription>>> cases = {
        {"spread by the skipped ticks", {down, up}},
        {"join that waits for its other input", {down, up, late, sum, tail}},
        {"join whose other input comes first", {late, down, up, sum, tail}},
        {"stride behind the burst", {down, up, skip}},
        {"burst of a burst", {down, up, skip, upAgain}},
        {"attention that drops its first frames", {down, up, held}},
        {"skipped ticks through two branches into one join",
         {down, up, convLayer("left", "down", {1, 1, 2, 2}),
          transposedLayer("leftUp", "left", {1, 1, 2, 2}, 2, {3}),
          joinLayer("both", {"up", "leftUp"}, 9), convLayer("fewer", "both", {1, 1, 4, 2}, {2}),
          transposedLayer("more", "fewer", {3, 1, 2, 2}, 2, {2})}},
    };
    for (const auto& [name, layers] : cases)
        expectReference(name, network(3, 2, layers));
}

TEST(NetworkCases, ActivationsPastTheirLimits) {
    LayerDescription gain{2, "gain", {"input"}, {{1, 1, 1, 4}, {-40.0F, -4.0F, 4.0F, 40.0F}}};
    LayerDescription activation{0, "activation", {"gain"}};
    activation.slope = -0.1F;
    for (const int kind : {4, 5, 6, 12, 17, 20}) {
        activation.kind = kind;
        expectReference(std::to_string(kind), network(3, 1, {gain, activation}));
    }
}

TEST(NetworkCases, SourceNamedTwiceNeverFires) {
    for (const int kind : {9, 18})
        for (const Inputs& inputs : {Inputs{"input", "input"}, Inputs{"elu", "input", "elu"}}) {
            const NetworkDescription description =
                network(3, 1, {{5, "elu", {"input"}}, joinLayer("join", inputs, kind)});
            expectReference("kind " + std::to_string(kind), description);
            EngineNetwork engine(description.modelFile());
            for (int i = 0; i < 5; ++i)
                EXPECT_TRUE(engine.run(Tensor(1, 3, 1)).shape.empty());
        }
}

TEST(NetworkCases, HalfFloats) {
    // Subnormals, both ends of the normal range, and the exponent that other formats keep for
    // infinities.
    const std::vector<unsigned> words = {0x0001, 0x8001, 0x03FF, 0x0400, 0x3C00, 0xBC01,
                                         0x7BFF, 0x7C00, 0xFC00, 0x7FFF, 0x0000, 0x8000};
    const int count = static_cast<int>(words.size());
    LayerDescription layer{2, "a", {"input"}, constantTensor({1, 1, 1, count}, 0.0F)};
    layer.weights.storage = 0;
    for (std::size_t i = 0; i < words.size(); ++i)
        layer.weights.values[i] = static_cast<float>(halfValue(words[i]));
    expectReference("words", network(1, 1, {layer}));
}

} // namespace
} // namespace sorvane::test
