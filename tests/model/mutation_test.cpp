#include "model/load_util.h"
#include "targets.h"
#include "util/processor_handle.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

// Every small change of a model file, and what the fuzzers found once, through all that a host does
// with it. What a broken file does is free within what the interface says, and harm is what a
// sanitizer finds; so these tests assert little, and are at their best under the address sanitizer.
namespace sorvane::test {

namespace {

using FileBytes = std::vector<std::uint8_t>;

/// The file, and behind it choices of calls.
FileBytes withCalls(FileBytes bytes) {
    for (int i = 0; i < 60; ++i)
        bytes.push_back(static_cast<std::uint8_t>(i * 37));
    return bytes;
}

class Mutation : public testing::TestWithParam<TinyModel> {};

} // namespace

TEST_P(Mutation, TheFileRunsAndNoChangeDoesHarm) {
    const FileBytes bytes = GetParam().file.bytes();
    fuzzInterface(withCalls(bytes));
    const ProcessorHandle processor = makeProcessor(GetParam().file, 2, 48000.0);
    ASSERT_NE(processor, nullptr);
    AudioRows output;
    const std::string error = errorOf([&] { output = process(processor.get(), noise(2, 130, 1)); });
    const bool runs = GetParam().file.inputPacking.code != 5;
    EXPECT_EQ(error, runs ? "" : "Unknown packing format");
    EXPECT_TRUE(!runs || !output[0].empty());

    int numAccepted = 0;
    int numRefused = 0;
    const auto mutate = [&](std::size_t offset, const void* change, std::size_t size) {
        FileBytes changed = bytes;
        std::memcpy(changed.data() + offset, change, std::min(size, bytes.size() - offset));
        if (changed == bytes)
            return;
        ++(loads(changed) ? numAccepted : numRefused);
        fuzzInterface(withCalls(changed));
    };
    std::vector<std::uint8_t> values = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x07, 0x08,
                                        0x10, 0x20, 0x40, 0x7F, 0x80, 0x81, 0xFE, 0xFF};
    for (int value = 0; std::getenv("SORVANE_LONG_TESTS") && value < 256; ++value)
        values.push_back(static_cast<std::uint8_t>(value));
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        for (const std::uint8_t value : values)
            mutate(offset, &value, 1);
        for (const std::int32_t integer :
             {0, 1, -1, 127, 128, 32767, 65536, 1 << 30, 2147483647, INT32_MIN})
            mutate(offset, &integer, sizeof integer);
    }
    // Values and padding may change freely; most else may not.
    EXPECT_GT(numAccepted, 100);
    EXPECT_GT(numRefused, 100);
}

INSTANTIATE_TEST_SUITE_P(All, Mutation, testing::ValuesIn(tinyModels()), [](const auto& entry) {
    std::string name = entry.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

void PrintTo(const TinyModel& model, std::ostream* out) {
    *out << model.name;
}

TEST(FuzzRegressions, NoInputDoesHarm) {
    for (const auto& entry : std::filesystem::directory_iterator(SORVANE_FUZZ_REGRESSIONS)) {
        const FileBytes input = TempFile::readFile(entry.path().string());
        fuzzLoader(input);
        fuzzInterface(input);
    }
}

} // namespace sorvane::test
