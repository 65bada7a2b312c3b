#pragma once

#include "sound/audio_source.h"

#include <cstdint>
#include <limits>
#include <string>

namespace sorvane::tools {

/// What the user may ask for with --sample-type.
enum class SampleType { sameAsInput, pcm16, pcm24, float32 };

/// Container and sample type of an output file.
struct OutputFormat {
    int format = 0; ///< SF_FORMAT_ bits of libsndfile
    /// Bits of an integer sample; 0 for samples that are written as floats.
    int integerBits = 0;
    /// RF64 that is turned into plain WAV at the end, should it be short enough.
    bool becomesWav = false;
    /// Samples per channel that the container has room for.
    std::int64_t mostSamples = std::numeric_limits<std::int64_t>::max();
};

struct OutputRequest {
    std::string path;    ///< its extension chooses the container
    int inputFormat = 0; ///< SF_FORMAT_ bits of the input
    int sampleRate = 0;
    int channels = 0;
    std::int64_t length = 0; ///< samples per channel as far as known, or unknownLength
    SampleType sampleType = SampleType::sameAsInput;
};

/// The format for a file: the container that the extension names, and in it the sample type that
/// was asked for, or else the input's or the nearest that the container holds without loss. A WAV
/// file that passes 4 GiB becomes RF64. Raises ProgramError with exitUsage when the extension
/// is unknown, or when the container can't hold the rate, the channels, the length or the sample
/// type.
OutputFormat chooseOutputFormat(const OutputRequest& request);

/// Whether `extension`, without its dot, names a container.
bool isKnownExtension(const std::string& extension);

/// The extensions that are known, for messages: "wav, flac, ...".
std::string knownExtensions();

} // namespace sorvane::tools
