#pragma once

#include "blend_ramp.h"
#include "dry_line.h"
#include "engine_handle.h"
#include "latency.h"

#include <cstdint>
#include <vector>

namespace sorvane::host {

/// A processor that gives as many samples as it takes, in blocks of any size: silence until it is
/// filled, then the engine's stream. Every block size gives the same samples, `latency()` late.
///
/// Real time: process(), as far as the engine's audio calls are.
class Blocks {
public:
    /// Measures the latency. Errors: as measureLatency().
    Blocks(EngineHandle& handle, int rampLength);

    [[nodiscard]] int latency() const { return delay.total(); }

    /// The output may be the input's memory. Raises what the engine raises, but not before the whole
    /// block is done: what it failed at is silence, and what follows a new stream.
    void process(const Input& input, const Output& output, int count, Blend target);

    void reset();

private:
    static constexpr int largestPart = 1024;

    void processPart(const Input& input, const Output& output, std::size_t offset, int count);
    void exchange(const Input& input, const Output& output, std::size_t offset, int count);
    void dropLateSamples();
    void restart();

    EngineHandle& engine;
    Latency delay;
    DryLine dry;
    BlendRamp ramp;
    bool hasStarted = false;
    bool isBroken = false;        // the engine has to be reset
    std::int64_t silenceLeft = 0; // before the engine's stream begins
    std::int64_t late = 0;        // samples that silence went out for and that are still to come
    std::vector<float> dropped;
};

} // namespace sorvane::host
