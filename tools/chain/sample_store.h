#pragma once

#include "chain/level_stage.h"
#include "sound/audio_sink.h"
#include "sound/output_file.h"

#include <string>

namespace sorvane::tools {

/// Keeps a stream as floats in a temporary file until its peak is known, so that it can be scaled
/// without having it in memory.
class SampleStore : public AudioSink {
public:
    /// The temporary file stands beside `target`, where there is room for the result. Raises
    /// ProgramError with exitUsage where `target` is a pipe or a device, and with exitOutput where
    /// writing fails.
    SampleStore(int numChannels, const std::string& target);

    void write(const float* samples, int count) override;
    void finish() override {}

    [[nodiscard]] double peak() const { return meter.peak(); }

    /// Sends the stream times `factor` to `sink`, and its end.
    void replay(double factor, AudioSink& sink);

private:
    int channels;
    OutputFile file; // never gets a name
    PeakMeter meter;
};

} // namespace sorvane::tools
