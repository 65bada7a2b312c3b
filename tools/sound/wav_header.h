#pragma once

#include "sound/raw_format.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace sorvane::tools {

/// A WAV file or stream up to its samples.
struct WavHeader {
    RawInput shape;
    std::int64_t dataBytes = -1; ///< of the samples, -1 where the header leaves it open
    std::int64_t dataStart = 0;  ///< bytes before the samples
};

/// Reads a header from the front of `file`, which needs no seeking. `consumed` takes all bytes that
/// were read. Nothing for what isn't WAV, or holds no plain samples.
std::optional<WavHeader> readWavHeader(std::FILE* file, std::string& consumed);

/// The header of a stream of `dataBytes`, or of a length that nobody knows for -1.
std::string wavHeaderText(const RawFormat& format, int sampleRate, int channels,
                          std::int64_t dataBytes);

/// What a file that was cut off lacks, in words; empty for a whole one, and for what isn't WAV.
std::string missingOfWav(const std::string& path);

} // namespace sorvane::tools
