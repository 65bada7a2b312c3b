#pragma once

#include <memory>
#include <string>
#include <vector>

namespace sorvane::tools {

/// A processor handle of the engine for one model, with as many channels in as out.
class Processor {
public:
    /// Raises ProgramError: exitInput when the file can't be read, exitModel when the engine
    /// refuses it.
    Processor(const std::string& modelPath, int channelCount, double rate);

    void push(const float* interleaved, int count);

    /// Pops up to `capacity` samples per channel; returns the count.
    int pull(float* interleaved, int capacity);

    void setParameter(int id, double value);

    [[nodiscard]] int channels() const { return numChannels; }
    [[nodiscard]] double sampleRate() const { return hostRate; }

    /// The remainder, always the last bus, included.
    [[nodiscard]] const std::vector<std::string>& busNames() const { return names; }

    /// How late the output is, in samples at the host's rate, when pushes have any size.
    [[nodiscard]] int latency() const { return latencySamples; }

    /// The time between two frames of the model in seconds.
    [[nodiscard]] double secondsPerHop() const { return hopSeconds; }

private:
    struct Deleter {
        void operator()(void* pointer) const;
    };

    std::unique_ptr<void, Deleter> handle;
    int numChannels;
    double hostRate;
    std::vector<std::string> names;
    int latencySamples = 0;
    double hopSeconds = 0;
};

} // namespace sorvane::tools
