#include "failure.h"
#include "model_outline.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>
#include <sstream>

namespace sorvane::test {

namespace {

using Bytes = std::vector<std::uint8_t>;

host::ModelOutline outlineOf(const Bytes& bytes) {
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    return host::readOutline(stream);
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
            const host::ModelOutline outline = outlineOf(bytes);
            EXPECT_EQ(outline.header.version, version);
            EXPECT_EQ(outline.outputSource, file.outputSource);
            ASSERT_EQ(outline.layers.size(), file.layers.size());
            for (std::size_t i = 0; i < file.layers.size(); ++i) {
                EXPECT_EQ(outline.layers[i].name, file.layers[i].name);
                EXPECT_EQ(outline.layers[i].kind, file.layers[i].kind);
                EXPECT_EQ(outline.layers[i].inputs, file.layers[i].inputs);
            }
            if (model.name == "norm-level") {
                const host::TensorOutline& scale = outline.layers[0].tensors[version < 0x100A];
                EXPECT_EQ(scale.label, "scale");
                EXPECT_EQ(scale.shape, std::vector<int>{1});
                EXPECT_EQ(scale.half, version >= 0x1009);
            }
            for (auto end = bytes.begin(); end != bytes.end(); ++end)
                EXPECT_THROW(outlineOf({bytes.begin(), end}), host::Failure);
        }
}

} // namespace sorvane::test
