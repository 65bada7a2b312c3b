#include "engine/model_state.h"

#include "support/vector_rows.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

using sorvane::ModelState;
using sorvane::modelStateOf;
using sorvane::Tensor32;

void sorvaneAddTensor(void* handle, const float* data, int numDims, const int* shape) {
    ModelState& state = modelStateOf(handle);
    if (numDims < 0)
        throw std::length_error("vector too long");
    Tensor32 tensor(std::vector<int>(shape, shape + numDims));
    sorvane::copyElements(data, tensor.writableElements(), sorvane::elementCount(tensor.shape));
    state.model.inputLayer->forward(tensor, nullptr);
    state.resultTensor = state.model.outputLayer->collect();
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
