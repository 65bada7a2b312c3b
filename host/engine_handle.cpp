#include "engine_handle.h"

#include "status.h"

#include "sorvane_engine.h"

#include <algorithm>

namespace sorvane::host {

namespace {

void* createProcessor(const std::string& path, int channels, double rate) {
    require(channels >= 1, "a processor has at least one channel");
    require(rate > 0.0, "a sample rate must be above 0");
    require(rate <= EngineHandle::highestRate, "a sample rate is at most 10 MHz");
    void* const handle = sorvaneCreateProcessor(path.c_str(), channels, rate);
    if (handle == nullptr)
        fail(SORVANE_HOST_BAD_RATE,
             "the model can't run at this rate: its own rate isn't above 0, it has no channels, or "
             "its frames have a length or hop that no stream can run with");
    return handle;
}

} // namespace

void EngineHandle::Deleter::operator()(void* processor) const {
    sorvaneDeleteProcessor(processor);
}

EngineHandle::EngineHandle(const std::string& modelPath, int channels, double rate)
    : handle(createProcessor(modelPath, channels, rate)),
      numChannels(static_cast<std::size_t>(channels)),
      inputRows(numChannels),
      outputRows(numChannels) {}

void EngineHandle::push(const Input& input, std::size_t offset, int count) {
    if (input.rows == nullptr) {
        sorvaneAddAudioInterleaved(get(), input.interleaved + offset * numChannels, count);
        return;
    }
    for (std::size_t c = 0; c < numChannels; ++c)
        inputRows[c] = input.rows[c] + offset;
    sorvaneAddAudio(get(), inputRows.data(), count);
}

int EngineHandle::pull(const Output& output, std::size_t offset, int count) {
    count = std::min(pending(), count);
    if (count <= 0)
        return 0;
    if (output.rows == nullptr)
        return sorvaneGetAudioInterleaved(get(), output.interleaved + offset * numChannels, count)
                   ? count
                   : 0;
    for (std::size_t c = 0; c < numChannels; ++c)
        outputRows[c] = output.rows[c] + offset;
    return sorvaneGetAudio(get(), outputRows.data(), count) ? count : 0;
}

int EngineHandle::pending() const {
    return sorvaneGetNumOfPendingSamples(get());
}

void EngineHandle::reset() {
    sorvaneResetProcessorState(get());
}

void silence(const Output& output, std::size_t channels, std::size_t offset, int count) {
    if (output.rows == nullptr)
        std::fill_n(output.interleaved + offset * channels,
                    static_cast<std::size_t>(count) * channels, 0.0F);
    else
        for (std::size_t c = 0; c < channels; ++c)
            std::fill_n(output.rows[c] + offset, count, 0.0F);
}

} // namespace sorvane::host
