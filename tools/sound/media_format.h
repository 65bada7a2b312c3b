#pragma once

#include "sound/media_info.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

/// A kind of file that ffmpeg writes.
struct MediaFormat {
    const char* extension;
    const char* muxer;
    const char* codec;               ///< where the original's can't be used
    std::vector<const char*> codecs; ///< that it holds
    bool holdsPictures;              ///< moving ones, and subtitles
};

/// The format for an extension without its dot, or null.
const MediaFormat* findMediaFormat(const std::string& extension);

/// The extension of a path in small letters, without its dot.
std::string extensionOf(const std::string& path);

/// Extensions of files that ffmpeg reads and may hold audio, also those that aren't written.
bool isMediaExtension(const std::string& extension);

/// The bit rate of a lossy output that is at least as good as an input of `original` bits a second
/// in the same coding or another one; 0 stands for an input that isn't lossy.
std::int64_t sufficientBitRate(std::int64_t original, bool sameCoding, int channels);

/// How a track of a format is to be encoded: words for ffmpeg, with `stream` as the number of the
/// audio track in the output. The original's coding is kept where it can be.
std::vector<std::string> encodingOf(const MediaFormat& format, const MediaStream& original,
                                    int stream, std::optional<int> kilobits);

} // namespace sorvane::tools
