#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sorvane::tools {

/// One stream of a file that ffmpeg reads.
struct MediaStream {
    int index = 0;    ///< in the file
    std::string kind; ///< "audio", "video", "subtitle", "attachment", "data"
    std::string codec;
    bool isPicture = false; ///< cover art
    bool isDefault = false;
    int sampleRate = 0; ///< the rest is for audio alone
    int channels = 0;
    int bits = 0;             ///< of a sample, as far as known
    std::int64_t bitRate = 0; ///< bits a second, or 0 where nobody knows
    double seconds = 0.0;     ///< 0 where nobody knows
};

/// What a file holds, as ffmpeg tells.
struct MediaInfo {
    std::vector<MediaStream> streams;
    std::map<std::string, std::string> tags; ///< by their names in small letters

    [[nodiscard]] std::vector<MediaStream> audioTracks() const;
    [[nodiscard]] bool hasMovingPictures() const;
};

/// The path of ffmpeg, or of its companion "ffprobe"; empty where it isn't found.
std::string ffmpegPath(const std::string& program = "ffmpeg");

/// Asks what a file holds. Raises ProgramError with exitInput when ffmpeg isn't there or can't read
/// the file.
MediaInfo readMediaInfo(const std::string& path);

/// A path that ffmpeg takes for a file, whatever it begins with.
std::string mediaPath(const std::string& path);

/// The last line of what a program said, without what stands in brackets before it.
std::string lastMessage(const std::string& messages);

} // namespace sorvane::tools
