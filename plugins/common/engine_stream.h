#pragma once

#include "common/latency.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sorvane::plugins {

/// A processor handle that gives as many samples as it takes, in blocks of any size: silence until it
/// is filled, then the engine's stream. Every block size gives the same stream, `latency()` late.
///
/// Threads: setParameter() on any at any time, all else on one at a time. Real time: exchange() and
/// setParameter(), as far as the engine's audio calls are.
class EngineStream {
public:
    static constexpr int largestBlock = 1024;

    /// Loads the model and measures its latency. Raises std::runtime_error when the model can't be
    /// loaded or used at this rate, and whatever the engine raises.
    EngineStream(const std::string& modelPath, int numChannels, double sampleRate);

    [[nodiscard]] int latency() const { return delay.total(); }
    [[nodiscard]] std::vector<std::string> busNames() const;

    void setParameter(int id, float value);

    /// Takes `count` samples per channel, at most largestBlock, and gives as many. Outputs may be the
    /// inputs' memory. What the engine raises passes through; the stream needs a reset() then.
    void exchange(const float* const* inputs, float* const* outputs, int count);

    /// Begins a new stream; parameters stay. Not for real-time threads.
    void reset();

private:
    struct Deleter {
        void operator()(void* processor) const;
    };

    void dropLateSamples();
    int pull(float* const* outputs, int offset, int count);

    std::unique_ptr<void, Deleter> handle;
    std::size_t channels;
    Latency delay;
    std::int64_t silenceLeft = 0; // before the engine's stream begins
    std::int64_t late = 0;        // samples that silence went out for and that are still to come
    std::vector<float*> rows;
    std::vector<std::vector<float>> dropped;
};

/// The names of a handle's busses, the remainder last.
std::vector<std::string> busNamesOf(void* handle);

} // namespace sorvane::plugins
