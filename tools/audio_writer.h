#pragma once

#include "output_file.h"
#include "output_format.h"

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
};

/// An audio file that is written from front to back from interleaved floats, and that has its name
/// only after finish(). Integer samples are the nearest to full scale times the float, so that what
/// was read from integers comes back as the same integers; values beyond full scale are clipped.
/// Failures raise ProgramError with exitOutput.
class AudioWriter {
public:
    AudioWriter(const std::string& path, OutputFormat outputFormat,
                const AudioDescription& description);

    /// Appends `count` samples per channel.
    void write(const float* samples, std::int64_t count);

    void finish();

    /// Samples of all channels that were beyond full scale so far; always 0 for float samples.
    [[nodiscard]] std::int64_t clippedSamples() const { return clipped; }

private:
    struct Closer {
        void operator()(SNDFILE* opened) const { sf_close(opened); }
    };

    [[noreturn]] void failAsLibrary();
    int toInteger(float sample);

    std::string name;
    int channels;
    int integerBits;
    std::int64_t clipped = 0;
    std::vector<int> integers;
    OutputFile output;
    std::unique_ptr<SNDFILE, Closer> file; // writes into output, so it goes first
};

} // namespace sorvane::tools
