#pragma once

#include "engine/sorvane_engine.h"

#include "model/neural_model.h"

namespace sorvane {

/// The record behind a model handle.
struct ModelState {
    NeuralModel<float> model;
    Tensor32 resultTensor;     // what came of the latest push
    OutputTensor<float> input; // that push
};

inline ModelState& modelStateOf(void* handle) {
    return *static_cast<ModelState*>(handle);
}

} // namespace sorvane
