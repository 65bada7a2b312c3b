#include "model/load_util.h"
#include "util/signal_rows.h"

namespace sorvane::test {

namespace {

struct NamedPacking {
    const char* name;
    FilePacking packing;
};

const NamedPacking inputPackings[] = {
    {"magnitudes", {.code = 1, .bins = 21}},
    {"rectified parts", {.code = 2, .split = 5, .rest = 16}},
    {"rectified parts alone", {.code = 2, .split = 21, .rest = 0}},
    {"complex", {.code = 4, .bins = 21}},
    {"groups of 4", {.code = 6, .split = 5, .rest = 16, .pool = 4}},
    {"groups alone", {.code = 6, .split = 0, .rest = 21, .pool = 3}},
    {"groups of 1", {.code = 6, .split = 5, .rest = 16, .pool = 1}},
    {"groups with a rest", {.code = 6, .split = 5, .rest = 16, .pool = 5}},
};

int columnsPerRow(int code) {
    return code == 4 || code == 6 ? 2 : 1;
}

Spectrum randomSpectrum(int channels, int bins, unsigned seed) {
    const Rows parts = toDouble(noise(2 * channels, bins, seed, 3.0));
    Spectrum spectrum;
    for (std::size_t c = 0; c < parts.size(); c += 2) {
        spectrum.emplace_back();
        for (std::size_t b = 0; b < parts[c].size(); ++b)
            spectrum.back().emplace_back(parts[c][b], parts[c + 1][b]);
    }
    return spectrum;
}

std::vector<float> flatten(const PackedFrame& frame) {
    std::vector<float> values;
    for (const auto& row : frame)
        for (const double value : row)
            values.push_back(static_cast<float>(value));
    return values;
}

ModelFile modelWith(const FilePacking& input, int outputCode) {
    ModelFile model;
    model.inputPacking = input;
    model.outputPacking = input;
    model.outputPacking.code = outputCode;
    model.outputPacking.bins = 21;
    model.numInputChannels = 2;
    return model;
}

} // namespace

TEST(FrameExchange, PacksBinsBelowAtAndAboveTheModels) {
    for (const NamedPacking& entry : inputPackings)
        for (const int bins : {1, 3, 8, 20, 21, 22, 41}) {
            SCOPED_TRACE(entry.name + std::string(", bins ") + std::to_string(bins));
            const ModelFile file = modelWith(entry.packing, 1);
            NeuralModel<float> model;
            ASSERT_TRUE(load(model, file.bytes()));
            const Spectrum frame = randomSpectrum(2, bins, 1);
            const PackedFrame expected = packFrame(file, frame);
            const Tensor32 packed = model.packFrames({toSpectrum(frame)});
            ASSERT_EQ(packed.shape, (std::vector<int>{1, static_cast<int>(expected.size()),
                                                      static_cast<int>(expected[0].size())}));
            expectNear(AudioRows{valuesOf(packed)}, AudioRows{flatten(expected)}, 2e-6);
        }
    NeuralModel<float> model;
    EXPECT_TRUE(model.packFrames({}).shape.empty());
    for (const std::vector<int>& shape : std::vector<std::vector<int>>{{0}, {0, 1, 1}, {1, 1, 0}})
        EXPECT_TRUE(model.unpackTensor(Tensor32(shape), 257).empty());
}

// As far as floats go: a sum of quotients, and a level that moves with every bin.
TEST(FrameExchange, RoundsAsItIsWritten) {
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, modelWith({.code = 6, .split = 0, .rest = 6, .pool = 3}, 1).bytes()));
    ComplexSignal32 frame(2, 40);
    frame.fill({1.0F, -5.0F});
    const std::vector<float> packed = valuesOf(model.packFrames({frame}));
    const auto meanOf = [](float value) { return value / 3.0F + value / 3.0F + value / 3.0F; };
    EXPECT_EQ(packed[0], meanOf(1.0F));
    EXPECT_EQ(packed[1], meanOf(-5.0F));

    const Tensor32 ones = makeTensor({1, 2, 1}, {1.0F, 1.0F});
    NeuralModel<float> narrow;
    ASSERT_TRUE(load(narrow, ModelFile{.inputPacking = {.code = 1, .bins = 2}}.bytes()));
    const ComplexSignal32 extended = narrow.unpackTensor(ones, 3000)[0];
    float level = 0.0F;
    for (int b = 0; b < extended.length; ++b) {
        ASSERT_NEAR(extended.row(0)[b].real(), b < 2 ? 1.0F : level, b < 2 ? 0.0F : 1e-9F) << b;
        const float magnitude = b < 2 ? 1.0F : level;
        level = level * 0.98F + magnitude * 0.02F;
    }
}

// Input and output packings combined, where the output asks for more than the input's layout holds
// among them.
TEST(FrameExchange, UnpacksEveryPackingInEveryLayout) {
    int refused = 0;
    for (const NamedPacking& entry : inputPackings)
        for (const int outputCode : {1, 2, 4, 6})
            for (const int bins : {1, 8, 20, 21, 22, 41})
                for (const bool extend : {true, false}) {
                    SCOPED_TRACE(entry.name + std::string(" to ") + std::to_string(outputCode) +
                                 ", bins " + std::to_string(bins));
                    const ModelFile file = modelWith(entry.packing, outputCode);
                    NeuralModel<float> model;
                    ASSERT_TRUE(load(model, file.bytes()));
                    model.extendBand = extend;

                    // Two frames of three rows.
                    const int columns = 3 * columnsPerRow(outputCode);
                    PackedFrame frames[2];
                    std::vector<float> values;
                    for (unsigned t = 0; t < 2; ++t) {
                        for (const auto& row : noise(model.packedRows, columns, 7 + t))
                            frames[t].emplace_back(row.begin(), row.end());
                        const std::vector<float> flat = flatten(frames[t]);
                        values.insert(values.end(), flat.begin(), flat.end());
                    }
                    const Tensor32 tensor = makeTensor({2, model.packedRows, columns}, values);
                    Spectrum expected[2];
                    try {
                        for (int t = 0; t < 2; ++t)
                            expected[t] = unpackFrame(file, frames[t], bins, extend);
                    } catch (const std::out_of_range&) {
                        EXPECT_THROW(static_cast<void>(model.unpackTensor(tensor, bins)),
                                     std::runtime_error);
                        ++refused;
                        continue;
                    }
                    const std::vector<ComplexSignal32> actual = model.unpackTensor(tensor, bins);
                    ASSERT_EQ(actual.size(), 2U);
                    for (std::size_t t = 0; t < 2; ++t)
                        expectNear(toRows(actual[t]), expected[t], 1e-6);
                }
    EXPECT_GT(refused, 0);
}

TEST(FrameExchange, WhatCannotBeExchangedRaises) {
    const auto run = [](const ModelFile& file) {
        NeuralModel<float> model;
        EXPECT_TRUE(load(model, file.bytes()));
        ComplexSignal32 frame(file.numInputChannels, 257);
        frame.fill(1.0F);
        return errorOf([&] { model.runModel(frame); });
    };
    for (const int frames : {1, 0, -1})
        EXPECT_EQ(
            run(ModelFile{.inputPacking = {.code = 5, .split = 1, .rest = 2, .frames = frames}}),
            "Unknown packing format")
            << frames;
    EXPECT_EQ(run(ModelFile{.outputPacking = {.code = 5}}), "Unknown packing format");

    const std::string tooSmall = "IPP exception: ippStsSizeErr: Incorrect value for data size";
    ModelFile halved;
    halved.layers = {conv("a", "input", {{1, 1, 1, 1}, {1.0F}}, {}, {.strideF = 2})};
    halved.outputSource = "a";
    EXPECT_EQ(run(halved), tooSmall);

    // Nothing is read where a packing has no bins.
    EXPECT_EQ(run(ModelFile{.inputPacking = {.code = 1, .bins = 0}}), "");

    // A single column holds no complex value: no row comes of it, and nothing is read.
    ModelFile half;
    half.outputPacking.code = 4;
    EXPECT_EQ(run(half), "");
}

} // namespace sorvane::test
