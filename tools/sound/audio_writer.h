#pragma once

#include "sound/audio_sink.h"
#include "sound/audio_source.h"
#include "sound/leading_tags.h"
#include "sound/output_file.h"
#include "sound/output_format.h"

#include <cstdint>
#include <map>
#include <memory>
#include <sndfile.h>
#include <string>
#include <vector>

namespace sorvane::tools {

/// What an audio file carries beside the samples.
struct AudioDescription {
    int sampleRate = 0;
    int channels = 0;
    std::map<int, std::string> texts; ///< by SF_STR_ numbers; kept where the container has room
    std::vector<int> channelMap;      ///< SF_CHANNEL_MAP_ numbers, or empty
    AudioChunks chunks;
    LeadingTags tags;         ///< for a file of the same kind
    std::int64_t bitRate = 0; ///< at least, bits a second; 0 leaves it to the library
};

/// An audio file that is written from interleaved floats. Integer samples are the nearest to full
/// scale times the float, so that what was read from integers comes back as the same integers.
class AudioWriter : public OutputSink {
public:
    AudioWriter(const std::string& path, const OutputFormat& outputFormat,
                const AudioDescription& description);

    void write(const float* samples, int count) override;
    void finish() override;
    void commit() override { output.commit(); }

private:
    struct Closer {
        void operator()(SNDFILE* opened) const { sf_close(opened); }
    };

    [[noreturn]] void failAsLibrary();
    void describe(const AudioDescription& description);
    void toIntegers(const float* samples);

    std::string name;
    int channels;
    OutputFormat format;
    LeadingTags tags;
    std::int64_t length = 0; // samples per channel
    std::vector<int> integers;
    OutputFile output;
    std::unique_ptr<SNDFILE, Closer> file; // writes into output, so it goes first
};

} // namespace sorvane::tools
