#pragma once

#include "engine/sorvane_engine.h"

#include "audio/audio_queue.h"
#include "processor/sorvane_processor.h"

#include <vector>

namespace sorvane {

/// The record behind a processor handle: all that belongs to one stream.
class ProcessorState {
public:
    /// Loads the models and sets the formats; false as the creators report null.
    bool initialise(int numModels, const char* const* modelFiles, int numChannels,
                    double sampleRate);

    /// Runs a block through the processor, and last of all queues what comes out, whole hops,
    /// possibly none: an exception leaves the queue as it was.
    void addBlock(const Signal32& block);

    /// Writes the range of a parameter, the same for every object; nothing for an id without one.
    SORVANE_API void getParameterRange(int id, float* minValue, float* maxValue);

    int numInputChannels = 0;
    int numOutputChannels = 0;
    SorvaneProcessor processor;
    AudioQueue outputQueue;               // processed audio that waits to be fetched
    BlockPool blocks;                     // audio on its way in
    std::vector<const float*> outputRows; // one a channel, of a stretch on its way out
};

inline ProcessorState& stateOf(void* handle) {
    return *static_cast<ProcessorState*>(handle);
}

} // namespace sorvane
