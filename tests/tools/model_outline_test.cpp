#include "info/model_outline.h"
#include "util/memory_stream.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

namespace sorvane::test {

namespace {

using Bytes = std::vector<std::uint8_t>;

tools::ModelOutline outlineOf(const Bytes& bytes) {
    MemoryStream stream(bytes);
    return tools::readOutline(stream);
}

} // namespace

// A record that is read to a wrong end leaves nonsense for the names that follow.
TEST(ModelOutline, ReadsEveryKindInEveryVersionAndRefusesCuts) {
    for (const TinyModel& model : tinyModels())
        for (int version = 0x1004; version <= 0x100B; ++version) {
            SCOPED_TRACE(model.name + " as version " + std::to_string(version));
            ModelFile file = model.file;
            file.version = version;
            const Bytes bytes = file.bytes();
            const tools::ModelOutline outline = outlineOf(bytes);
            EXPECT_EQ(outline.version, version);
            EXPECT_EQ(outline.outputSource, file.outputSource);
            ASSERT_EQ(outline.layers.size(), file.layers.size());
            for (std::size_t i = 0; i < file.layers.size(); ++i) {
                EXPECT_EQ(outline.layers[i].name, file.layers[i].name);
                EXPECT_EQ(outline.layers[i].kind, file.layers[i].kind);
                EXPECT_EQ(outline.layers[i].inputs, file.layers[i].inputs);
            }
            if (model.name == "norm-level") {
                const tools::TensorOutline& scale = outline.layers[0].tensors[version < 0x100A];
                EXPECT_EQ(scale.label, "scale");
                EXPECT_EQ(scale.shape, std::vector<int>{1});
                EXPECT_EQ(scale.half, version >= 0x1009);
            }
            for (auto end = bytes.begin(); end != bytes.end(); ++end)
                EXPECT_THROW(outlineOf({bytes.begin(), end}), std::exception);
        }
}

TEST(ModelOutline, NothingMakesItCrash) {
    const struct {
        const char* field;
        std::int64_t value;
    } claims[] = {
        {"outputNames[1].count", 0x7FFFFFFF}, {"a.weights.dims[0]", 0x7FFFFFFF},
        {"a.weights.dims[3]", 0x20000000},    {"a.weights.rank", 127},
        {"layerCount", 0x7FFFFFFF},
    };
    for (const auto& c : claims) {
        ModelFile file = tinyModels().front().file;
        file.overrides = {{c.field, c.value}};
        EXPECT_THROW(outlineOf(file.bytes()), std::exception) << c.field;
    }
}

} // namespace sorvane::test
