#pragma once

#include "chain/processor.h"
#include "sound/audio_sink.h"

#include <cstdint>
#include <vector>

namespace sorvane::tools {

/// Factors of what comes in and of what the processor makes of it, whose sum goes on.
struct Blend {
    float dry = 0.0F;
    float wet = 1.0F;
};

/// Sends a stream through a processor and mixes it with itself. What goes on is as long as what
/// came and aligned with it: at the end, zeros push out what the processor holds back. Memory
/// doesn't grow with the length.
///
/// Raises ProgramError with exitFailure when the processor holds back much more than its latency,
/// as with a network that gives fewer frames than it takes.
class ProcessorStage : public AudioSink {
public:
    /// Hands on blocks of at most `largestBlock` samples.
    ProcessorStage(Processor& processorToUse, Blend factors, int largestBlock, AudioSink& nextSink);

    void write(const float* samples, int count) override;
    void finish() override;

private:
    void push(const float* samples, int count);
    void pull();
    void mixWithDry(std::int64_t count);

    Processor& processor;
    Blend blend;
    AudioSink& next;
    int blockSize;
    std::int64_t mostHeldBack;
    std::int64_t received = 0; // samples per channel, as the next two
    std::int64_t pushed = 0;   // zeros included
    std::int64_t pulled = 0;
    std::vector<float> block;
    std::vector<float> dry; // what came and hasn't gone on; only where the blend asks for it
};

} // namespace sorvane::tools
