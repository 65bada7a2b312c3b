#include "model/load_util.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <climits>

namespace sorvane::test {

namespace {

const FileTensor one = {{1, 1, 1, 1}, {1.0F}};

// Its file can be read up to a byte, and then no more.
class BreakingStream : public MemoryStream {
public:
    BreakingStream(const std::vector<std::uint8_t>& content, std::uint32_t readable)
        : MemoryStream(content), left(readable) {}

    std::uint32_t read(void* buffer, std::uint32_t count) override {
        const std::uint32_t done = MemoryStream::read(buffer, std::min(count, left));
        left -= done;
        return done;
    }

private:
    std::uint32_t left;
};

} // namespace

TEST(ModelRecords, EveryReadThatFailsIsAFailedLoad) {
    for (const TinyModel& model : tinyModels()) {
        const std::vector<std::uint8_t> bytes = model.file.bytes();
        const auto loadsUpTo = [&](std::size_t readable) {
            return NeuralModel<float>().load(
                std::make_shared<BreakingStream>(bytes, static_cast<std::uint32_t>(readable)));
        };
        for (std::size_t size = 0; size < bytes.size(); ++size)
            ASSERT_FALSE(loadsUpTo(size)) << model.name << ", up to " << size;
        EXPECT_TRUE(loadsUpTo(bytes.size())) << model.name;
    }
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
            ModelFile broken = file;
            broken.overrides[field] = count;
            EXPECT_FALSE(loads(broken.bytes())) << field << " " << count;
        }
    EXPECT_FALSE(loads(ModelFile{.overrides = {{"layerCount", INT_MAX}}}.bytes()));
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

            // Weights without values add nothing to the bias.
            file.layers = {transposedConv("a", "input", {{0, 1, 1, 1}, {}}, {{1}, {5}}, 1)};
            NeuralModel<float> biased;
            ASSERT_TRUE(load(biased, file.bytes()));
            EXPECT_EQ(valuesOf(run(biased, makeTensor({1, 2, 1}, {3, 4}))),
                      (std::vector<float>{5, 5}));
        }
}

TEST(ModelRecords, AcceptedAndRefusedFields) {
    const auto unknown = [](const std::vector<int>& shape) {
        return std::vector{conv("a", "input", {shape, {}, 2}, {})};
    };
    const FileTensor flat{{1}, {1.0F}};
    const FileTensor cube{{1, 1, 1}, {1.0F}};
    const struct {
        const char* name;
        bool accepted;
        std::vector<FileLayer> layers;
    } cases[] = {
        {"unknown storage", true, unknown({1, 1, 1, 1})},
        {"unknown storage, more than is left", true, unknown({8, 8, 8, 8})},
        {"unknown storage, 256 KiB", false, unknown({8, 8, 8, 128})},
        {"unknown storage of negative sizes", true, unknown({-1, 1, 1, 65536})},
        {"convolution of 3 dimensions", false, {conv("a", "input", cube, {})}},
        {"transposed one", false, {transposedConv("a", "input", cube, {}, 1)}},
        {"convolution of none", true, {conv("a", "input", {}, {})}},
        {"attention of none", true, {selfAttention("a", "input", {}, {}, 0, {})}},
        {"matrices of 1 dimension",
         true,
         {dense("a", "input", flat, flat), selfAttention("b", "a", flat, flat, 0, flat)}},
        {"transposed stride of 0",
         false,
         {transposedConv("a", "input", one, {}, 1, {.strideT = 0})}},
        {"the same where no frame can come",
         true,
         {concat("a", {}), transposedConv("b", "a", one, {}, 1, {.strideT = 0})}},
        {"other strides of 0", true, {conv("a", "input", one, {}, {.strideT = 0, .strideF = 0})}},
    };
    for (const auto& entry : cases)
        EXPECT_EQ(loads(ModelFile{.layers = entry.layers}.bytes()), entry.accepted) << entry.name;

    for (const int count : {0, -1, -32768, 32767}) {
        ModelFile join{.layers = {concat("a", {})}, .overrides = {{"a.inputCount", count}}};
        EXPECT_EQ(loads(join.bytes()), count <= 0) << count;
        ModelFile bands{.layers = {frequencyRescale("a", "input", {})},
                        .overrides = {{"a.bandCount", count}}};
        EXPECT_EQ(loads(bands.bytes()), count == 0) << count;
    }
    for (const int kind : {-32768, -1, 0, 1, 8, 10, 11, 13, 21, 24, 258})
        EXPECT_FALSE(loads(ModelFile{.layers = {activation("a", kind, "input")}}.bytes())) << kind;
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

} // namespace sorvane::test
