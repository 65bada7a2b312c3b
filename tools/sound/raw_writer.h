#pragma once

#include "sound/audio_sink.h"
#include "sound/output_file.h"
#include "sound/raw_format.h"

#include "audio/sample_format.h"

#include <string>
#include <vector>

namespace sorvane::tools {

/// Writes a packed stream to a file, or to standard output for the path "-". Into pipes and devices
/// each block goes out at once. Samples beyond full scale are limited.
class RawWriter : public OutputSink {
public:
    /// `header` comes before the first sample.
    RawWriter(const std::string& path, const RawFormat& rawFormat, int numChannels,
              const std::string& header = {});

    void write(const float* samples, int count) override;
    void finish() override {}
    void commit() override { output.commit(); }

private:
    RawFormat format;
    int channels;
    SampleFormat packing;
    std::vector<float> shifted;
    std::vector<char> bytes;
    OutputFile output;
};

} // namespace sorvane::tools
