#include "model/load_util.h"

#include <gtest/gtest.h>

#include <chrono>

// Graphs whose paths or depth grow far faster than their files.
namespace sorvane::test {
namespace {

const FileTensor one{{1, 1, 1, 1}, {1.0F}};

ModelFile chain(int length) {
    ModelFile file;
    for (int i = 0; i < length; ++i) {
        const std::string name = "l" + std::to_string(i);
        // Different kinds, since each takes a stack frame of its own.
        if (i % 3 == 0)
            file.layers.push_back(concat(name, {file.outputSource}));
        else if (i % 3 == 1)
            file.layers.push_back(conv(name, file.outputSource, one, {}));
        else
            file.layers.push_back(activation(name, 4, file.outputSource));
        file.outputSource = name;
    }
    return file;
}

/// Two branches that meet again, `levels` times: 2 to that power paths.
void addDiamonds(ModelFile& file, int levels, const std::vector<int>& strides) {
    for (int i = 0; i < levels; ++i) {
        const std::string name = "d" + std::to_string(i);
        const int stride = strides[static_cast<std::size_t>(i) % strides.size()];
        file.layers.push_back(conv(name + "a", file.outputSource, one, {}));
        file.layers.push_back(conv(name + "b", file.outputSource, one, {}, {.strideT = stride}));
        file.layers.push_back(arithmetic(name, {name + "a", name + "b"}, 2));
        file.outputSource = name;
    }
}

} // namespace

TEST(GraphBounds, AChainOfTenThousandLayersRunsAndALongerOneIsRefused) {
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, chain(10000).bytes()));
    EXPECT_FALSE(loads(chain(10001).bytes()));
    EXPECT_FALSE(loads(chain(100000).bytes()));
#if defined(__OPTIMIZE__) && !defined(SORVANE_SANITIZED)
    // Instrumented and unoptimised stack frames take more than the usual stack.
    EXPECT_EQ(valuesOf(run(model, makeTensor({1, 1, 1}, {3.0F}))), std::vector<float>{3.0F});
#endif
}

TEST(GraphBounds, AJoinOfThirtyThousandInputsLooksAtEachOnce) {
    ModelFile file{.outputSource = "join"};
    Inputs inputs;
    for (int i = 0; i < 30000; ++i) {
        inputs.push_back(std::to_string(i));
        file.layers.push_back(activation(inputs.back(), 4, "input"));
    }
    file.layers.push_back(arithmetic("join", inputs, 2));
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, file.bytes()));
    const auto start = std::chrono::steady_clock::now();
    for (int frame = 0; frame < 5; ++frame)
        EXPECT_EQ(valuesOf(run(model, makeTensor({1, 1, 1}, {2.0F}))), std::vector<float>{60000});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)); // not 30
}

TEST(GraphBounds, FlushesDoNotWalkEveryPath) {
    // On every second frame the strided layer flushes all paths to the transposed one, each of whose
    // two frames must still come out one a tick.
    ModelFile file{.layers = {conv("half", "input", one, {}, {.strideT = 2})},
                   .outputSource = "half"};
    addDiamonds(file, 60, {1});
    file.layers.push_back(transposedConv("double", file.outputSource, {{2, 1, 1, 1}, {1.0F, 2.0F}},
                                         {}, 1, {.strideT = 2}));
    file.outputSource = "double";
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, file.bytes()));
    for (int frame = 0; frame < 6; ++frame) {
        const Tensor32 result = run(model, makeTensor({1, 1, 1}, {1.0F}));
        const float sum = static_cast<float>(std::uint64_t{1} << 60);
        EXPECT_EQ(valuesOf(result), std::vector<float>{frame % 2 == 0 ? sum : 2.0F * sum}) << frame;
    }
}

TEST(GraphBounds, LatenciesAreWorkedOutOnceForEachScale) {
    const ModelFile file{
        .layers = {conv("a", "input", one, {}, {.strideT = 3, .delay = 2}),
                   transposedConv("b", "a", one, {}, 1, {.strideT = 2, .delay = 1}),
                   conv("c", "b", one, {}, {.delay = 4})},
        .outputSource = "c"};
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, file.bytes()));
    EXPECT_EQ(model.latencyFrames, 2 + 3 + 4);
    for (const int scale : {-4, 0, 1, 2, 1000}) // also those that a load doesn't ask for
        EXPECT_EQ(model.inputLayer->latency(scale), 2 * scale + 3 * scale + 4 * (3 * scale / 2));

    ModelFile same;
    addDiamonds(same, 60, {1});
    EXPECT_TRUE(loads(same.bytes()));

    // Strides of different primes make a scale of every set of them.
    ModelFile different;
    addDiamonds(different, 60, {2,  3,  5,  7,  11, 13, 17, 19, 23, 29,  31,  37,  41,  43,  47, 53,
                                59, 61, 67, 71, 73, 79, 83, 89, 97, 101, 103, 107, 109, 113, 127});
    EXPECT_FALSE(loads(different.bytes()));

    // Eleven diamonds make two thousand scales, and each has to be told to every reader.
    ModelFile wide;
    addDiamonds(wide, 11, {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31});
    wide.layers.push_back(concat("wide", Inputs(30000, wide.outputSource)));
    EXPECT_FALSE(loads(wide.bytes()));
}

TEST(GraphBounds, OneFrameMakesAMillionAndNotMore) {
    // Strides up, and down again, that stand one behind the other.
    const struct {
        std::vector<int> up, down;
        bool loads;
    } cases[] = {{{127, 127, 65}, {}, true},
                 {{127, 127, 66}, {}, false},
                 {{127, 127, 127}, {127, 127, 127}, false},
                 {{127, 127}, {126, 127}, true},
                 {std::vector<int>(100, 1), {}, true}};
    for (const auto& entry : cases) {
        ModelFile file;
        const auto add = [&](FileLayer layer) {
            file.outputSource = layer.name;
            file.layers.push_back(std::move(layer));
        };
        for (const int stride : entry.up)
            add(transposedConv("l" + std::to_string(file.layers.size()), file.outputSource, one, {},
                               1, {.strideT = stride}));
        for (const int stride : entry.down)
            add(conv("l" + std::to_string(file.layers.size()), file.outputSource, one, {},
                     {.strideT = stride}));
        EXPECT_EQ(loads(file.bytes()), entry.loads) << testing::PrintToString(entry.up);
    }
}

} // namespace sorvane::test
