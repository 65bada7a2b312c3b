#include "model/load_util.h"
#include "reference/network_comparison.h"
#include "support/vector/dispatch.h"

#include <gtest/gtest.h>

#include <cstdlib>

// Networks in the engine against the reference: random ones, and small ones for what those seldom
// meet. A failure prints the seed; that network alone runs again with SORVANE_SEED set to it and
// SORVANE_COUNT=1, and a long run takes a large count.
namespace sorvane::test {

namespace {

int fromEnvironment(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
}

// All values suit both storages, so that a network can be written in any version.
FileTensor tensor(const std::vector<int>& shape) {
    static Random random(1);
    return randomTensor(random, shape, 1.0, 0);
}

// The last layer is the output.
NetworkCase network(int positions, int channels, const std::vector<FileLayer>& layers) {
    NetworkCase result{{.layers = layers, .outputSource = layers.back().name}, positions, channels};
    for (const FileLayer& layer : layers) {
        result.singleFrames = result.singleFrames || layer.parameters.delay > 0;
        result.hasBursts = result.hasBursts || layer.kind == 3;
    }
    return result;
}

void expectReference(const std::string& name, const NetworkCase& network) {
    ComparisonCounts counts;
    EXPECT_EQ(differenceToReference(network, 7, counts), "") << name;
}

} // namespace

TEST(Networks, OfRandomLayersEqualTheReference) {
    const struct {
        const char* name;
        int firstSeed, count;
        std::vector<int> kinds;
    } families[] = {
        {"convolutions and activations", 1, 100, {2, 2, 2, 2, 4, 5, 6, 12, 17, 20}},
        {"down, up and joins", 1001, 150, {2, 2, 3, 3, 4, 9, 18}},
        {"separable ones and attention on joins", 2001, 100, {2, 3, 6, 9, 15, 15, 18, 19, 19}},
        {"levels and frequencies", 3001, 100, {2, 6, 7, 14, 16, 18, 22, 23}},
        {"all kinds", 4001, 300, {2,  2,  2,  3,  3,  4,  5,  6,  7,  9,  9,  12, 14,
                                  15, 15, 16, 17, 18, 18, 18, 19, 19, 20, 22, 23}},
    };
    for (const auto& family : families) {
        const int first = fromEnvironment("SORVANE_SEED", family.firstSeed);
        const int count = fromEnvironment("SORVANE_COUNT", family.count);
        ComparisonCounts counts;
        for (int seed = first; seed < first + count; ++seed) {
            const auto number = static_cast<unsigned>(seed);
            const NetworkCase random = randomNetwork(number, family.kinds);
            EXPECT_EQ(differenceToReference(random, number, counts), "")
                << family.name << ", SORVANE_SEED=" << seed;
        }
        if (count >= 50) {
            EXPECT_GT(counts.networksWithOutput, 0.9 * count) << family.name;
            EXPECT_LT(counts.looseValues, 0.03 * counts.values) << family.name;
        }
    }
}

// Rows of any width, with the compound operations of the vector layer and with the flat ones.
TEST(Networks, OfWideLayersEqualTheReference) {
    ComparisonCounts counts;
    for (unsigned seed = 1; seed <= 80; ++seed) {
        const NetworkCase random = randomNetwork(seed, {2, 2, 3, 3, 14, 15, 19, 22}, 67);
        for (const bool flat : {false, true}) {
            vector::usesFlatSequences.store(flat);
            EXPECT_EQ(differenceToReference(random, seed, counts), "") << seed << ' ' << flat;
        }
        vector::usesFlatSequences.store(false);
    }
}

// Bursts go on one frame a tick where the tick's other frames reach an output, at once where a join
// waits or a stride skips them. The digits are the frames that each tick gives.
TEST(Networks, BurstsOfTransposedLayers) {
    const auto down = conv("down", "input", tensor({2, 1, 2, 2}), tensor({2}), {3});
    const auto up = transposedConv("up", "down", tensor({4, 1, 2, 2}), tensor({2}), 2, {3});
    const auto late = conv("late", "input", tensor({1, 1, 2, 2}), tensor({2}), {1, 1, 1, 0, 4});
    const auto sum = arithmetic("sum", {"up", "late"}, 2);
    const auto skip = conv("skip", "up", tensor({1, 1, 2, 2}), tensor({2}), {2});
    const struct {
        const char* name;
        std::vector<FileLayer> layers;
        std::string ticks;
    } cases[] = {
        {"spread by the skipped ticks", {down, up}, "111111111111"},
        {"join that waits for its other input",
         {down, up, late, sum, conv("tail", "sum", tensor({2, 3, 2, 1}), {})},
         "000011111111"},
        {"join whose other input comes first", {late, down, up, sum}, "000011111111"},
        {"burst of a burst",
         {down, up, skip, transposedConv("again", "skip", tensor({2, 1, 2, 2}), {}, 2, {2})},
         "130110130110"},
        {"attention that drops its first frames",
         {down, up, selfAttention("held", "up", tensor({2, 2}), tensor({3, 2}), 2, tensor({2, 2}))},
         "100111111111"},
        {"skipped ticks through two branches into one join",
         {down, up, conv("left", "down", tensor({1, 1, 2, 2}), {}),
          transposedConv("leftUp", "left", tensor({1, 1, 2, 2}), {}, 2, {3}),
          concat("both", {"up", "leftUp"}), conv("fewer", "both", tensor({1, 1, 4, 2}), {}, {2}),
          transposedConv("more", "fewer", tensor({3, 1, 2, 2}), {}, 2, {2})},
         "130110130110"},
    };
    for (const auto& entry : cases) {
        const NetworkCase tested = network(3, 2, entry.layers);
        expectReference(entry.name, tested);
        NeuralModel<float> model;
        ASSERT_TRUE(load(model, tested.file.bytes()));
        std::string ticks;
        for (std::size_t tick = 0; tick < entry.ticks.size(); ++tick) {
            const Tensor32 result = run(model, makeTensor({1, 3, 2}, {1, 2, 3, 4, 5, 6}));
            ticks += std::to_string(result.shape.empty() ? 0 : result.shape[0]);
        }
        EXPECT_EQ(ticks, entry.ticks) << entry.name;
    }
    // Weights for more positions and channels are read as flat rows.
    expectReference("large matrices", network(3, 2,
                                              {dense("d", "input", tensor({5, 5, 2}), {}),
                                               selfAttention("a", "d", tensor({4, 4}),
                                                             tensor({3, 2}), 0, tensor({2, 3}))}));
    expectReference("a large matrix of one channel",
                    network(3, 1, {dense("d", "input", tensor({5, 5, 1}), {})}));
    expectReference("a stride beyond the axis",
                    network(3, 2, {conv("a", "input", tensor({2, 3, 2, 3}), {}, {1, 4})}));
}

// A depthwise layer that repeats channels takes the first frame of a tensor for all of them.
TEST(Networks, RepeatedChannelsOfGroupedFrames) {
    NeuralModel<float> model;
    const FileTensor weights{{1, 1, 1, 4}, {1.0F, 10.0F, 100.0F, 1000.0F}};
    ASSERT_TRUE(load(model, network(1, 2, {conv("a", "input", weights, {})}).file.bytes()));
    const Tensor32 result = run(model, makeTensor({2, 1, 2}, {1, 2, 3, 4}));
    EXPECT_EQ(valuesOf(result), (std::vector<float>{1, 10, 200, 2000, 1, 10, 200, 2000}));
}

TEST(Networks, ActivationsPastTheirLimits) {
    const auto gain = conv("gain", "input", {{1, 1, 1, 4}, {-40.0F, -4.0F, 4.0F, 40.0F}}, {});
    for (const int kind : {4, 5, 6, 12, 17, 20}) {
        FileLayer layer = activation("a", kind, "gain");
        if (kind == 12)
            layer.numbers = {-0.1F};
        expectReference(std::to_string(kind), network(3, 1, {gain, layer}));
    }
}

// What a NaN becomes: below a threshold it counts as passed, between two it stays.
TEST(Networks, ActivationsOfWhatIsNoNumber) {
    const float nan = std::nanf("");
    const std::pair<int, float> results[] = {{4, 0.0F},  {5, 0.0F}, {6, nan},
                                             {12, 0.0F}, {17, nan}, {20, nan}};
    for (const auto& [kind, expected] : results) {
        FileLayer layer = activation("a", kind, "input");
        if (kind == 12)
            layer.numbers = {-0.1F};
        NeuralModel<float> model;
        ASSERT_TRUE(load(model, network(1, 1, {layer}).file.bytes()));
        for (const int rows : {1, 9}) {
            const auto count = static_cast<std::size_t>(rows);
            const Tensor32 result = run(model, makeTensor({1, rows, 1}, std::vector(count, nan)));
            EXPECT_EQ(testing::PrintToString(valuesOf(result)),
                      testing::PrintToString(std::vector(count, expected)))
                << kind;
        }
    }
}

TEST(Networks, SourceNamedTwiceNeverFires) {
    const FileLayer elu = activation("elu", 5, "input");
    for (const Inputs& inputs : {Inputs{"input", "input"}, Inputs{"elu", "input", "elu"}})
        for (const FileLayer& join : {concat("join", inputs), arithmetic("join", inputs, 0)}) {
            expectReference("named twice", network(3, 1, {elu, join}));
            NeuralModel<float> model;
            ASSERT_TRUE(load(model, network(3, 1, {elu, join}).file.bytes()));
            for (int i = 0; i < 5; ++i)
                EXPECT_TRUE(run(model, makeTensor({1, 3, 1}, {1, 2, 3})).shape.empty());
        }
}

// Subnormals, both ends of the normal range, and the exponent that other formats keep for infinities.
TEST(Networks, HalfFloats) {
    FileTensor weights{{1, 1, 1, 12}, {}, 0};
    for (const unsigned word : {0x0001U, 0x8001U, 0x03FFU, 0x0400U, 0x3C00U, 0xBC01U, 0x7BFFU,
                                0x7C00U, 0xFC00U, 0x7FFFU, 0x0000U, 0x8000U})
        weights.values.push_back(halfValue(word));
    expectReference("words", network(1, 1, {conv("a", "input", weights, {})}));
}

} // namespace sorvane::test
