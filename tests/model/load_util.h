#pragma once

#include "model/neural_model.h"
#include "util/error_of.h"
#include "util/memory_stream.h"
#include "util/model_file.h"

namespace sorvane::test {

inline bool load(NeuralModel<float>& model, const std::vector<std::uint8_t>& bytes) {
    return model.load(std::make_shared<MemoryStream>(bytes));
}

inline bool loads(const std::vector<std::uint8_t>& bytes) {
    NeuralModel<float> model;
    return load(model, bytes);
}

inline Tensor32 makeTensor(const std::vector<int>& shape, const std::vector<float>& values) {
    Tensor32 tensor(shape);
    std::copy(values.begin(), values.end(), tensor.writableElements());
    return tensor;
}

inline std::vector<float> valuesOf(const Tensor32& tensor) {
    return {tensor.elements(), tensor.elements() + elementCount(tensor.shape)};
}

// Pushes a tensor through and takes what has come out.
inline Tensor32 run(NeuralModel<float>& model, const Tensor32& input) {
    model.inputLayer->forward(input, nullptr);
    return model.outputLayer->collect();
}

} // namespace sorvane::test
