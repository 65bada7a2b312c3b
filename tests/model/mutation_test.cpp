#include "util/processor_handle.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>

// Every small change of a model file, through all that a host does with it. What a broken file does
// is free within what the interface says, and harm is what a sanitizer finds; so these tests assert
// little, and are at their best under the address sanitizer.
namespace sorvane::test {

namespace {

using FileBytes = std::vector<std::uint8_t>;

constexpr std::uint8_t tellingBytes[] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x07, 0x08,
                                         0x10, 0x20, 0x40, 0x7F, 0x80, 0x81, 0xFE, 0xFF};
constexpr std::int32_t hostileIntegers[] = {0,     1,     -1,      127,        128,
                                            32767, 65536, 1 << 30, 2147483647, INT32_MIN};

/// Creates a processor and pushes odd blocks. True when the file was accepted.
bool runAudio(const char* path) {
    static const AudioRows audio = noise(2, 130, 1);
    try {
        const ProcessorHandle processor(sorvaneCreateProcessor(path, 2, 48000.0));
        if (!processor)
            return false;
        for (const std::size_t length : {1U, 0U, 7U, 130U, 61U})
            push(processor.get(), slice(audio, 0, length));
        pull(processor.get(), 2);
    } catch (const std::exception&) {
    }
    return true;
}

/// The same with tensors, of which the last don't fit the others.
bool runTensors(const char* path) {
    static const AudioRows values = noise(1, 36, 2);
    const ModelHandle model(sorvaneCreateModel(path));
    for (const std::vector<int>& shape : std::vector<std::vector<int>>{
             {1, 8, 1}, {2, 8, 1}, {1, 8, 1}, {1, 8, 2}, {0, 3, 1}, {1, 2, 3}}) {
        if (!model)
            return false;
        try {
            sorvaneAddTensor(model.get(), values[0].data(), 3, shape.data());
            int size[3];
            if (sorvaneGetResultTensorShape(model.get(), 3, size) && size[0] * size[1] < 10000) {
                std::vector<float> result(static_cast<std::size_t>(size[0] * size[1] * size[2]));
                sorvaneGetTensor(model.get(), result.data());
            }
        } catch (const std::exception&) {
        }
    }
    return true;
}

std::string testNameOf(const testing::TestParamInfo<TinyModel>& entry) {
    std::string name = entry.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class Mutation : public testing::TestWithParam<TinyModel> {
protected:
    /// Runs the file with `change` in place of its bytes from `offset` on.
    void mutate(std::size_t offset, const void* change, std::size_t size) {
        FileBytes changed = bytes;
        std::memcpy(changed.data() + offset, change, std::min(size, bytes.size() - offset));
        if (changed == bytes)
            return;
        file.write(changed);
        const bool accepted = runTensors(file.c_str());
        runAudio(file.c_str());
        ++(accepted ? numAccepted : numRefused);
    }

    const FileBytes bytes = GetParam().file.bytes();
    const TempFile file{".model"};
    int numAccepted = 0;
    int numRefused = 0;
};

} // namespace

TEST_P(Mutation, TheFileItselfRunsAndACutOneIsRefused) {
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        file.write({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
        ASSERT_FALSE(runAudio(file.c_str()) || runTensors(file.c_str())) << "cut at " << size;
    }
    file.write(bytes);
    const ProcessorHandle processor(sorvaneCreateProcessor(file.c_str(), 2, 48000.0));
    ASSERT_NE(processor, nullptr);
    if (GetParam().file.inputPacking.code == 5) {
        EXPECT_THROW(process(processor.get(), noise(2, 130, 1)), std::runtime_error);
    } else {
        EXPECT_FALSE(process(processor.get(), noise(2, 130, 1))[0].empty());
    }
}

TEST_P(Mutation, NoChangeDoesHarm) {
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        if (std::getenv("SORVANE_LONG_TESTS")) {
            for (int value = 0; value < 256; ++value) {
                const auto byte = static_cast<std::uint8_t>(value);
                mutate(offset, &byte, 1);
            }
        } else {
            for (const std::uint8_t byte : tellingBytes)
                mutate(offset, &byte, 1);
        }
        for (const std::int32_t integer : hostileIntegers)
            mutate(offset, &integer, sizeof integer);
    }
    // Values and padding may change freely; most else may not.
    EXPECT_GT(numAccepted, 100);
    EXPECT_GT(numRefused, 100);
}

INSTANTIATE_TEST_SUITE_P(All, Mutation, testing::ValuesIn(tinyModels()), testNameOf);

void PrintTo(const TinyModel& model, std::ostream* out) {
    *out << model.name;
}

} // namespace sorvane::test
