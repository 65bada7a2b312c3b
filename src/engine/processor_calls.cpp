#include "engine/processor_state.h"

#include <memory>

using sorvane::ProcessorState;

void* sorvaneCreateProcessor(const char* modelFile, int numChannels, double sampleRate) {
    return sorvaneCreateStemSeparator(1, &modelFile, numChannels, sampleRate);
}

void* sorvaneCreateStemSeparator(int numModels, const char* const* modelFiles, int numChannels,
                                 double sampleRate) {
    auto state = std::make_unique<ProcessorState>();
    return state->initialise(numModels, modelFiles, numChannels, sampleRate) ? state.release()
                                                                             : nullptr;
}

void sorvaneDeleteProcessor(void* handle) {
    delete static_cast<ProcessorState*>(handle);
}
