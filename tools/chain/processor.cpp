#include "chain/processor.h"

#include "console/program_error.h"
#include "console/text.h"
#include "sound/input_file.h"

#include "engine/sorvane_engine.h"

#include <algorithm>

namespace sorvane::tools {

namespace {

/// A name that fills the buffer may have been cut, so the buffer grows until a terminator fits.
std::string busName(void* handle, int bus) {
    std::vector<char> buffer(64);
    for (;;) {
        sorvaneGetOutputBusName(handle, bus, buffer.data(),
                                static_cast<unsigned int>(buffer.size()));
        if (buffer.back() == '\0')
            return buffer.data();
        buffer.resize(buffer.size() * 2);
    }
}

} // namespace

void Processor::Deleter::operator()(void* pointer) const {
    sorvaneDeleteProcessor(pointer);
}

Processor::Processor(const std::string& modelPath, int channelCount, double rate)
    : numChannels(channelCount), hostRate(rate) {
    requireReadable(modelPath);
    handle.reset(sorvaneCreateProcessor(modelPath.c_str(), numChannels, hostRate));
    if (handle == nullptr)
        throw ProgramError(exitModel, inQuotes(modelPath) + " is not a valid model");
    const int numBusses = sorvaneGetNumOfOutputBusses(handle.get());
    for (int bus = 0; bus < numBusses; ++bus)
        names.push_back(busName(handle.get(), bus));
    SorvaneModelInfo info{};
    ::sorvaneGetProcessorInfo(handle.get(), &info);
    latencySamples = std::max(info.lengthOrLatency, 0);
    hopSeconds = info.sampleRate > 0.0 ? info.hop / info.sampleRate : 0.0;
}

void Processor::push(const float* interleaved, int count) {
    sorvaneAddAudioInterleaved(handle.get(), interleaved, count);
}

int Processor::pull(float* interleaved, int capacity) {
    const int count = std::min(sorvaneGetNumOfPendingSamples(handle.get()), capacity);
    if (count <= 0 || !sorvaneGetAudioInterleaved(handle.get(), interleaved, count))
        return 0;
    return count;
}

void Processor::setParameter(int id, double value) {
    sorvaneSetParameterValue(handle.get(), id, static_cast<float>(value));
}

} // namespace sorvane::tools
