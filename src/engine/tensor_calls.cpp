#include "engine/model_state.h"

#include "support/vector_rows.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

using sorvane::ModelState;
using sorvane::modelStateOf;
using sorvane::Tensor32;

void sorvaneAddTensor(void* handle, const float* data, int numDims, const int* shape) {
    ModelState& state = modelStateOf(handle);
    if (numDims < 0)
        throw std::length_error("vector too long");
    float* elements = state.input.renew(std::span(shape, static_cast<std::size_t>(numDims)));
    sorvane::copyElements(data, elements, sorvane::elementCount(state.input.shape));
    state.model.inputLayer->forward(state.input, nullptr);
    state.model.outputLayer->collect(state.resultTensor);
}

bool sorvaneGetResultTensorShape(void* handle, int numDims, int* shape) {
    const std::vector<int>& result = modelStateOf(handle).resultTensor.shape;
    if (static_cast<int>(result.size()) != numDims)
        return false;
    std::copy(result.begin(), result.end(), shape);
    return true;
}

bool sorvaneGetTensor(void* handle, float* data) {
    const Tensor32& result = modelStateOf(handle).resultTensor;
    if (result.numAvailable() < 1)
        return false;
    sorvane::copyElements(result.elements(), data, result.numAvailable());
    return true;
}

void sorvaneResetModelState(void* handle) {
    modelStateOf(handle).model.reset();
}
