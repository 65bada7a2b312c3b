#pragma once

#include "common/blend_ramp.h"
#include "common/delay_line.h"
#include "common/engine_stream.h"

#include <string>
#include <vector>

namespace sorvane::plugins {

/// One model on one stream, as plug-in hosts call it: an EngineStream, mixed with its own input, that
/// never raises while it runs. When the engine does, the input passes, delayed as ever, until the next
/// reset(), and one line goes to standard error.
///
/// Threads: one at a time. Real time: process(), setParameter() and setBlend(), as EngineStream.
class StreamAdapter {
public:
    static constexpr int largestBlock = EngineStream::largestBlock;

    /// `failureReported` belongs to all adapters of a plug-in, so that only the first failure of any
    /// is written. Raises what EngineStream's constructor raises.
    StreamAdapter(const std::string& modelPath, int channels, double sampleRate,
                  bool& failureReported);

    /// From a sample in to the same sample out.
    [[nodiscard]] int latency() const { return stream.latency(); }
    [[nodiscard]] std::vector<std::string> busNames() const { return stream.busNames(); }

    /// Takes effect at the engine's next frame, whose overlap with the last makes it smooth.
    void setParameter(int id, float value) { stream.setParameter(id, value); }

    /// Takes effect over 20 ms; at once at the start of a stream.
    void setBlend(Blend target);

    /// `count` samples per channel, at most largestBlock. Outputs may be the inputs' memory.
    void process(const float* const* inputs, float* const* outputs, int count) noexcept;

    /// Begins a new stream with the same parameters.
    void reset() noexcept;

private:
    void mix(float* const* outputs, int count);
    void passThrough(float* const* outputs, int count);
    void fail(const char* reason);

    std::string model;
    EngineStream stream;
    BlendRamp ramp;
    std::vector<DelayLine> delays;             // a channel each
    std::vector<std::vector<float>> lateInput; // what comes out of them
    bool hasStarted = false;
    bool hasFailed = false;
    bool& hasReported;
};

} // namespace sorvane::plugins
