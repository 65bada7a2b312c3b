#pragma once

#include "engine/sorvane_engine.h"

#include "model/neural_model.h"

namespace sorvane {

/// The record behind a model handle.
struct ModelState {
    NeuralModel<float> model;
    OutputTensor<float> input; // the latest push
    Tensor32 resultTensor;     // and what came of it
};

inline ModelState& modelStateOf(void* handle) {
    return *static_cast<ModelState*>(handle);
}

} // namespace sorvane
