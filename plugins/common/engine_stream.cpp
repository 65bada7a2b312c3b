#include "common/engine_stream.h"

#include "sorvane_engine.h"

#include <algorithm>
#include <stdexcept>

namespace sorvane::plugins {

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

/// Beyond any audio rate, sizes and counts wouldn't fit their types.
constexpr double highestRate = 1e7;

void* createProcessor(const std::string& modelPath, int channels, double sampleRate) {
    if (!(sampleRate > 0.0 && sampleRate <= highestRate))
        throw std::runtime_error("not a sample rate that can be used");
    void* const handle = sorvaneCreateProcessor(modelPath.c_str(), channels, sampleRate);
    if (handle == nullptr)
        throw std::runtime_error("not a model that can be loaded");
    return handle;
}

} // namespace

std::vector<std::string> busNamesOf(void* handle) {
    std::vector<std::string> names;
    const int count = sorvaneGetNumOfOutputBusses(handle);
    names.reserve(static_cast<std::size_t>(count));
    for (int bus = 0; bus < count; ++bus)
        names.push_back(busName(handle, bus));
    return names;
}

void EngineStream::Deleter::operator()(void* processor) const {
    sorvaneDeleteProcessor(processor);
}

EngineStream::EngineStream(const std::string& modelPath, int numChannels, double sampleRate)
    : handle(createProcessor(modelPath, numChannels, sampleRate)),
      channels(static_cast<std::size_t>(numChannels)),
      delay{},
      rows(channels),
      dropped(channels, std::vector<float>(largestBlock)) {
    delay = measureLatency(handle.get(), numChannels);
    silenceLeft = delay.held;
}

std::vector<std::string> EngineStream::busNames() const {
    return busNamesOf(handle.get());
}

void EngineStream::setParameter(int id, float value) {
    sorvaneSetParameterValue(handle.get(), id, value);
}

void EngineStream::exchange(const float* const* inputs, float* const* outputs, int count) {
    sorvaneAddAudio(handle.get(), inputs, count);
    const auto silent = static_cast<int>(std::min<std::int64_t>(silenceLeft, count));
    silenceLeft -= silent;
    dropLateSamples();
    const int filled = silent + pull(outputs, silent, count - silent);
    for (std::size_t c = 0; c < channels; ++c) {
        std::fill_n(outputs[c], silent, 0.0F);
        std::fill(outputs[c] + filled, outputs[c] + count, 0.0F);
    }
    late += count - filled;
}

void EngineStream::reset() {
    sorvaneResetProcessorState(handle.get());
    silenceLeft = delay.held;
    late = 0;
}

/// Should the engine hold back more than was measured, the stream stays in step nevertheless.
void EngineStream::dropLateSamples() {
    while (late > 0) {
        for (std::size_t c = 0; c < channels; ++c)
            rows[c] = dropped[c].data();
        const int got =
            pull(rows.data(), 0, static_cast<int>(std::min<std::int64_t>(late, largestBlock)));
        if (got == 0)
            return;
        late -= got;
    }
}

/// Up to `count` samples to `offset` on; returns how many there were.
int EngineStream::pull(float* const* outputs, int offset, int count) {
    const int got = std::min(sorvaneGetNumOfPendingSamples(handle.get()), count);
    for (std::size_t c = 0; c < channels; ++c)
        rows[c] = outputs[c] + offset;
    return got > 0 && sorvaneGetAudio(handle.get(), rows.data(), got) ? got : 0;
}

} // namespace sorvane::plugins
