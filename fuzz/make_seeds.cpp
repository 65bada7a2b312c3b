// usage: make_fuzz_seeds FOLDER
// Writes the fuzzers' first inputs: the tiny models, each with a few choices of calls behind it.

#include "util/tiny_models.h"

#include <random>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    std::mt19937 random(1);
    for (const auto& [name, model] : sorvane::test::tinyModels()) {
        for (int variant = 0; variant < 3; ++variant) {
            std::vector<std::uint8_t> bytes = model.bytes();
            for (int i = 0; i < 40 * variant; ++i)
                bytes.push_back(static_cast<std::uint8_t>(random()));
            sorvane::test::TempFile::writeFile(
                std::string(argv[1]) + "/" + name + "-" + std::to_string(variant), bytes);
        }
    }
    return 0;
}
