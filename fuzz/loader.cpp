#include "targets.h"

#include "model/neural_model.h"
#include "util/memory_stream.h"

#include <memory>

namespace sorvane::fuzz {

void loader(Bytes data) {
    NeuralModel<float> model;
    const std::vector<std::uint8_t> file(data.begin(), data.end());
    if (model.load(std::make_shared<test::MemoryStream>(file)))
        model.reset();
}

} // namespace sorvane::fuzz
