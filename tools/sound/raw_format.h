#pragma once

#include <string>

namespace sorvane::tools {

/// How the samples of a packed stream are encoded.
struct RawFormat {
    std::string name;   ///< as on the command line, "s16le" for one
    int sampleCode = 0; ///< of SampleFormat
    bool bigEndian = false;
    int sndfileType = 0; ///< the SF_FORMAT_ bits of such samples
    int integerBits = 0; ///< 0 for floats

    [[nodiscard]] int bytesPerSample() const;

    /// Unsigned bytes are silent at 128 here and everywhere else, but at 127 in SampleFormat. This
    /// is what a sample gets after reading, and loses before writing.
    [[nodiscard]] float offset() const { return sampleCode == 0 ? -1.0F / 128.0F : 0.0F; }
};

/// A packed stream that is read: nothing in it tells rate and channels.
struct RawInput {
    RawFormat format;
    int sampleRate = 0;
    int channels = 0;
};

/// Reads "FORMAT". Raises ProgramError with exitUsage for an unknown one.
RawFormat parseRawFormat(const std::string& text, const std::string& option);

/// Reads "FORMAT:RATE:CHANNELS". Raises ProgramError with exitUsage.
RawInput parseRawInput(const std::string& text, const std::string& option);

/// The little-endian format of such samples, SF_FORMAT_ bits of libsndfile, or null.
const RawFormat* findRawFormat(int sndfileType);

/// The formats that are known, for messages and help: "u8, s8, ...".
std::string knownRawFormats();

} // namespace sorvane::tools
