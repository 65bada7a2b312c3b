#pragma once

#include "sound/audio_sink.h"

#include <sorvane_host.hpp>
#include <vector>

namespace sorvane::tools {

/// Sends a stream through a processor. What goes on is as long as what came and aligned with it.
/// Memory doesn't grow with the length.
class ProcessorStage : public AudioSink {
public:
    /// Hands on blocks of at most `largestBlock` samples.
    ProcessorStage(host::Stream& streamToUse, int largestBlock, AudioSink& nextSink);

    void write(const float* samples, int count) override;
    void finish() override;

private:
    void pull();

    host::Stream& stream;
    AudioSink& next;
    std::size_t channels;
    std::vector<float> block;
};

} // namespace sorvane::tools
