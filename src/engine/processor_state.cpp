#include "engine/processor_state.h"

#include "support/bounded_list.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace sorvane {

bool ProcessorState::initialise(int numModels, const char* const* modelFiles, int numChannels,
                                double sampleRate) {
    // A negative count is a huge one.
    const auto count = static_cast<unsigned int>(numModels);
    if (count > maxPathsInVector)
        throw std::length_error("vector too long");
    std::vector<std::string> paths;
    paths.reserve(count);
    for (unsigned int i = 0; i < count; ++i)
        paths.emplace_back(modelFiles[i] != nullptr ? modelFiles[i] : ""); // neither can be opened

    if (!processor.loadModels(paths))
        return false;
    const AudioFormat format = defaultFormat(numChannels, sampleRate);
    if (!processor.setFormats(format, format))
        return false;
    numInputChannels = numChannels;
    numOutputChannels = numChannels;
    outputRows.resize(static_cast<std::size_t>(numChannels));
    return true;
}

void ProcessorState::addBlock(const Signal32& block) {
    Signal32 output;
    processor.process(output, block);
    outputQueue.add(output);
    blocks.giveWhenFree(block);
}

} // namespace sorvane
