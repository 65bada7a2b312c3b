#include "engine/model_state.h"

#include "model/model_file.h"

#include <memory>

using sorvane::ModelState;
using sorvane::NeuralModel;

void* sorvaneCreateModel(const char* modelFile) {
    auto state = std::make_unique<ModelState>();
    return sorvane::loadModelFile(state->model, modelFile) ? state.release() : nullptr;
}

void sorvaneDeleteModel(void* handle) {
    delete static_cast<ModelState*>(handle);
}

namespace sorvane {

// As the header declares it for its own use.
SORVANE_API void sorvaneGetProcessorInfo(void* modelHandle, SorvaneModelInfo* info) {
    const NeuralModel<float>& model = modelStateOf(modelHandle).model;
    *info = {};
    info->sampleRate = model.sampleRate;
    info->numChannels = model.numInputChannels;
    info->lengthOrLatency = model.fftLength;
    info->frameLength = model.frameLength;
    info->hop = model.hop;
    info->latencyFrames = model.latencyFrames;
}

} // namespace sorvane
