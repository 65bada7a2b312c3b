#include "model_outline.h"
#include "util/memory_stream.h"
#include "util/model_file.h"

#include <gtest/gtest.h>

namespace sorvane::test {

namespace {

// A file with every kind of layer; what the layers do together doesn't matter here.
ModelFile everyKind(int version) {
    ModelFile model;
    model.version = version;
    const FileTensor weights = constantTensor({2, 3, 1, 4}, 1.0F);
    const FileTensor row = constantTensor({4}, 1.0F);
    FileTensor halves = constantTensor({5, 3}, 1.0F);
    halves.storage = version >= 0x1009 ? 0 : 1;
    model.layers = {
        conv("conv", "input", weights, row, {.strideT = 2, .strideF = 3, .delay = 5}),
        transposedConv("up", "conv", weights, row, 7, {.strideT = 2}),
        activation("relu", 4, "up"),
        activation("elu", 5, "relu"),
        activation("sigmoid", 6, "elu"),
        norm("norm", "sigmoid", 1, constantTensor({6}, 1.0F), row),
        concat("concat", {"norm", "conv", "up"}),
        leakyReLU("leaky", "concat", 0.25F),
        dense("dense", "leaky", halves, {}),
        separableChannelConv("separable", "dense", row, weights),
        preNorm("pre", "separable", row),
        activation("softplus", 17, "pre"),
        arithmetic("sum", {"pre", "softplus"}, 2),
        selfAttention("attention", "sum", weights, row, 3, constantTensor({9}, 1.0F)),
        activation("hard", 20, "attention"),
        frequencyRescale("rescale", "hard", {{1, row}, {2, weights}}),
        arPreNorm("ar", "rescale", 0.5F, 0.25F, 0.125F),
    };
    model.outputSource = "ar";
    return model;
}

using tools::LayerOutline;
using tools::LayerParameter;
using tools::ModelOutline;

ModelOutline outlineOf(const std::vector<std::uint8_t>& bytes) {
    MemoryStream stream(bytes);
    return tools::readOutline(stream);
}

// "label value label value"
std::string parametersOf(const LayerOutline& layer) {
    std::string text;
    for (const LayerParameter& parameter : layer.parameters)
        text += parameter.label + " " + std::to_string(parameter.value) + " ";
    return text;
}

} // namespace

TEST(ModelOutline, ReadsEveryKindInEveryVersion) {
    for (int version = 0x1004; version <= 0x100B; ++version) {
        SCOPED_TRACE(version);
        const ModelOutline outline = outlineOf(everyKind(version).bytes());
        EXPECT_EQ(outline.version, version);
        ASSERT_EQ(outline.layers.size(), 17U);
        EXPECT_EQ(outline.outputSource, "ar");
        EXPECT_EQ(outline.layers[0].className, "ConvLayer");
        EXPECT_EQ(outline.layers[0].tensors[0].shape, (std::vector<int>{2, 3, 1, 4}));
        EXPECT_EQ(outline.layers[6].inputs, (std::vector<std::string>{"norm", "conv", "up"}));
        EXPECT_EQ(outline.layers[8].tensors[0].half, version >= 0x1009);
        EXPECT_EQ(outline.layers[8].tensors[0].count, 15);

        // The fields that came with a version.
        EXPECT_EQ(parametersOf(outline.layers[1]).find("outputChannels 7") == 0, version >= 0x1008);
        EXPECT_EQ(parametersOf(outline.layers[5]) != "", version >= 0x100A);
        EXPECT_EQ(outline.layers[5].tensors[0].label, version >= 0x100A ? "scale" : "bias");
        EXPECT_EQ(outline.layers[13].tensors.size(), version >= 0x1007 ? 3U : 2U);
        EXPECT_EQ(parametersOf(outline.layers[15]),
                  "bandCount 2.000000 start 1.000000 start 2.000000 ");
        EXPECT_EQ(outline.numWeights(), 5 * 24 + 7 * 4 + 6 + 15 + (version >= 0x1007 ? 9 : 0));
    }
}

TEST(ModelOutline, BrokenFilesRaiseAnException) {
    for (const int version : {0x1004, 0x100A}) {
        const std::vector<std::uint8_t> bytes = everyKind(version).bytes();
        for (std::size_t length = 0; length < bytes.size(); ++length)
            EXPECT_THROW(
                outlineOf({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)}),
                std::exception)
                << "cut to " << length;
    }
    const struct {
        const char* field;
        std::int64_t value;
    } cases[] = {
        {"outputNames[1].count", 0x7FFFFFFF}, {"conv.weights.dims[0]", 0x7FFFFFFF},
        {"conv.weights.dims[3]", 0x20000000}, {"conv.weights.rank", 127},
        {"rescale.bandCount", 0x7FFF},        {"layerCount", 0x7FFFFFFF},
    };
    for (const auto& c : cases) {
        FileImage image = everyKind(0x100A).image();
        image.overwrite(c.field, c.value);
        EXPECT_THROW(outlineOf(image.bytes), std::exception) << c.field;
    }
}

TEST(ModelOutline, NoByteMakesItCrash) {
    const std::vector<std::uint8_t> bytes = everyKind(0x100A).bytes();
    int read = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        for (const int change : {1, 0x80, 0xFF}) {
            std::vector<std::uint8_t> mutated = bytes;
            mutated[i] = static_cast<std::uint8_t>(mutated[i] ^ change);
            try {
                outlineOf(mutated);
                ++read;
            } catch (const std::exception&) {
                // A refusal is as good as a listing.
            }
        }
    EXPECT_GT(read, 0); // changed weights still read
}

} // namespace sorvane::test
