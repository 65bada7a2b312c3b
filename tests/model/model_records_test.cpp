#include "layers/tensor_record.h"
#include "model/load_util.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace sorvane::test {

namespace {

const FileTensor one = {{1, 1, 1, 1}, {1.0F}};

// Small, with a layer of every kind of body that needs no second input.
ModelFile richModel(int version, int storage) {
    ModelFile file{.version = version};
    file.inputPacking.bins = 9;
    file.outputPacking.bins = 9;
    file.fftLength = 16;
    file.frameLength = 16;
    file.hop = 8;
    file.layers = {
        conv("a", "input", {{2, 3, 1, 2}, std::vector<float>(12, 0.1F), storage},
             {{2}, {0.5F, -0.5F}, storage}, {.delay = 1}),
        activation("b", 4, "a"),
        leakyReLU("c", "a", 0.25F),
        activation("d", 5, "c"),
        activation("e", 20, "d"),
        activation("f", 17, "b"),
        conv("g", "e", {{1, 1, 2, 1}, {1.0F, 2.0F}, storage}, {}),
        activation("h", 6, "g"),
    };
    file.outputSource = "h";
    return file;
}

// Runs a few frames; errors are fine, crashes are not.
void runAnyhow(NeuralModel<float>& model) {
    ComplexSignal32 frame(std::max(model.numInputChannels, 1), 9);
    frame.fill({0.5F, 0.5F});
    try {
        for (int i = 0; i < 4; ++i)
            model.runModel(frame);
        model.reset();
    } catch (const std::exception&) {
    }
}

} // namespace

TEST(ModelRecords, EveryCutIsAFailedLoad) {
    for (const int version : {0x1004, 0x1008, 0x100A})
        for (const int storage : {0, 1}) {
            const FileImage image = richModel(version, storage).image();
            ASSERT_TRUE(loads(image.bytes)) << version;
            for (std::size_t size = 0; size < image.bytes.size(); ++size)
                ASSERT_FALSE(loads(image.firstBytes(size)))
                    << "version " << version << ", cut at " << size;
        }
}

TEST(ModelRecords, NoMutatedByteDoesHarm) {
    const FileImage image = richModel(0x100A, 1).image();
    int loaded = 0;
    for (std::size_t i = 0; i < image.bytes.size(); ++i)
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            std::vector<std::uint8_t> bytes = image.bytes;
            bytes[i] = static_cast<std::uint8_t>(value);
            NeuralModel<float> model;
            if (load(model, bytes)) {
                runAnyhow(model);
                ++loaded;
            }
        }
    EXPECT_GT(loaded, 0);
}

TEST(ModelRecords, ClaimsAreHeldAgainstTheBytesThatAreLeft) {
    const ModelFile file{.layers = {conv("a", "input", one, {}), leakyReLU("b", "a", 1.0F)}};
    const struct {
        const char* name;
        std::vector<int> dims;
    } cases[] = {
        {"2 GiB", {32768, 16384}},
        {"one byte more than is left", {1, 1, 1, 20}},
        {"product of 2^32", {65536, 65536}},
        {"product of 2^64", {65536, 65536, 65536, 65536}},
        {"largest dimensions", {INT_MAX, INT_MAX, INT_MAX, INT_MAX}},
        {"more dimensions than bytes", std::vector<int>(127, 1)},
    };
    for (const auto& entry : cases)
        for (const int storage : {0, 1}) {
            ModelFile broken = file;
            broken.layers[0] =
                conv("a", "input", {entry.dims, std::vector<float>(4, 1.0F), storage}, {});
            const std::vector<std::uint8_t> bytes = broken.bytes();
            const auto stream = std::make_shared<MemoryStream>(bytes);
            EXPECT_FALSE(NeuralModel<float>().load(stream)) << entry.name;
            EXPECT_LE(stream->largestRead, bytes.size()) << entry.name;
        }

    for (const char* field :
         {"magic.count", "modelTag.count", "modelNote.count", "outputNames[1].count",
          "a.name.count", "a.inputs[0].count", "outputSource.count"})
        for (const std::int64_t count : {200LL, 0x7FFFFFFFLL, 0x80000000LL, 0xFFFFFFFFLL}) {
            FileImage image = file.image();
            image.overwrite(field, count);
            EXPECT_FALSE(loads(image.bytes)) << field << " " << count;
        }
    FileImage image = file.image();
    image.overwrite("layerCount", INT_MAX);
    EXPECT_FALSE(loads(image.bytes));
}

TEST(ModelRecords, TensorsWithoutData) {
    // Only the header of such a tensor is read, and the next field follows.
    for (const std::vector<int>& shape : {std::vector<int>{}, {0}, {3, 0, 2}, {2, -3}})
        for (const int version : {0x1004, 0x100A}) {
            ModelFile file{.version = version};
            file.layers = {conv("a", "input", one, {shape, {}})};
            file.outputSource = "a";
            NeuralModel<float> model;
            ASSERT_TRUE(load(model, file.bytes()));
            EXPECT_EQ(valuesOf(run(model, makeTensor({1, 2, 1}, {3, 4}))),
                      (std::vector<float>{3, 4}));
        }
}

TEST(ModelRecords, HalvesAreWidened) {
    std::vector<float> halves;
    for (int word = 0; word < 65536; ++word) {
        const int exponent = (word >> 10) & 31;
        const int fraction = word & 1023;
        double expected =
            exponent == 0 ? std::ldexp(fraction, -24) : std::ldexp(1024 + fraction, exponent - 25);
        if (word >= 0x8000)
            expected = -expected;
        const float actual = widenHalf(static_cast<std::uint16_t>(word));
        ASSERT_EQ(static_cast<double>(actual), expected) << word;
        ASSERT_EQ(std::signbit(actual), word >= 0x8000) << word;
        if (word % 97 == 0)
            halves.push_back(actual);
    }

    const auto count = static_cast<int>(halves.size());
    ModelFile file{.layers = {conv("a", "input", {{1, 1, 1, count}, halves, 0}, {})}};
    file.outputSource = "a";
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, file.bytes()));
    EXPECT_EQ(valuesOf(run(model, makeTensor({1, 1, 1}, {1}))), halves);
}

TEST(ModelRecords, UnknownKindsRefuseTheFile) {
    for (const int kind : {-32768, -1, 0, 1, 8, 10, 11, 13, 21, 24, 100, 258, 32767}) {
        ModelFile file = richModel(0x100A, 1);
        file.layers.insert(file.layers.begin() + 3, activation("x", kind, "a"));
        EXPECT_FALSE(loads(file.bytes())) << kind;
    }
}

TEST(ModelRecords, Names) {
    const FileLayer negate = conv("a", "input", {{1, 1, 1, 1}, {-1.0F}}, {});
    const struct {
        const char* name;
        std::vector<FileLayer> layers;
        const char* source;
        std::vector<float> result; // of 2 and -3; empty: refused
    } cases[] = {
        {"chain", {negate, activation("b", 4, "a")}, "b", {0, 3}},
        {"unknown input", {negate, activation("b", 4, "c")}, "b", {}},
        {"its own input", {activation("b", 4, "b")}, "b", {}},
        {"a later layer", {activation("b", 4, "a"), negate}, "b", {}},
        {"the output", {activation("b", 4, "output")}, "b", {}},
        {"empty name", {activation("", 4, "input")}, "", {2, 0}},
        {"a dead end", {negate, activation("b", 4, "a")}, "input", {2, -3}},
        {"a name taken over", {activation("a", 4, "input"), negate}, "a", {-2, 3}},
        {"the input's name taken over", {activation("input", 4, "input"), negate}, "a", {-2, 0}},
        {"the output's name", {activation("output", 4, "input")}, "output", {2, 0}},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        ModelFile file{.layers = entry.layers};
        file.outputSource = entry.source;
        NeuralModel<float> model;
        ASSERT_EQ(load(model, file.bytes()), !entry.result.empty());
        if (!entry.result.empty()) {
            EXPECT_EQ(valuesOf(run(model, makeTensor({1, 2, 1}, {2, -3}))), entry.result);
        }
    }
}

TEST(ModelRecords, LatencyFollowsTheLongestPath) {
    const auto delayed = [](const char* name, const char* input, int delay, int strideT) {
        return conv(name, input, one, {}, {.strideT = strideT, .delay = delay});
    };
    const struct {
        const char* name;
        std::vector<FileLayer> layers;
        int latency;
    } cases[] = {
        {"none", {activation("a", 4, "input")}, 0},
        {"a dead end counts", {delayed("a", "input", 2, 1)}, 2},
        {"strides scale", {delayed("a", "input", 1, 2), delayed("b", "a", 3, 1)}, 7},
        {"two branches",
         {delayed("a", "input", 3, 1), delayed("b", "input", 1, 3), delayed("c", "b", 1, 1)},
         4},
        {"negative", {delayed("a", "input", -5, 1)}, -5},
    };
    for (const auto& entry : cases) {
        NeuralModel<float> model;
        ASSERT_TRUE(load(model, ModelFile{.layers = entry.layers}.bytes()));
        EXPECT_EQ(model.latencyFrames, entry.latency) << entry.name;
    }
}

} // namespace sorvane::test
