#include "targets.h"
#include "util/temp_file.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

// What the fuzzers found once, and what they begin with, without the fuzzer.
namespace sorvane::test {

TEST(FuzzRegressions, NoInputDoesHarm) {
    std::vector<std::vector<std::uint8_t>> inputs;
    for (const TinyModel& model : tinyModels()) {
        inputs.push_back(model.file.bytes());
        for (int i = 0; i < 60; ++i) // choices of calls
            inputs.back().push_back(static_cast<std::uint8_t>(i * 37));
    }
    for (const auto& entry : std::filesystem::directory_iterator(SORVANE_FUZZ_REGRESSIONS))
        inputs.push_back(TempFile::readFile(entry.path().string()));
    for (const std::vector<std::uint8_t>& input : inputs) {
        fuzzLoader(input);
        fuzzInterface(input);
    }
}

} // namespace sorvane::test
