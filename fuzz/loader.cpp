#include "targets.h"

#include "model/neural_model.h"
#include "util/memory_stream.h"

#include <memory>

namespace sorvane::test {

void fuzzLoader(Bytes data) {
    NeuralModel<float> model;
    const std::vector<std::uint8_t> file(data.begin(), data.end());
    if (model.load(std::make_shared<MemoryStream>(file)))
        model.reset();
}

} // namespace sorvane::test
