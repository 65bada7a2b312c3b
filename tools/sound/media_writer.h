#pragma once

#include "console/platform.h"
#include "sound/audio_sink.h"
#include "sound/media_format.h"
#include "sound/media_info.h"
#include "sound/partial_file.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

/// An audio track that takes the place of one of the original, or is the only one.
struct MediaTrack {
    MediaStream original;
    int sampleRate = 0;
    int channels = 0;
};

/// A file that ffmpeg writes: new audio tracks, and around them what the original has. Pictures,
/// subtitles, tags, chapters and the audio tracks that stay are copied untouched.
///
/// Use: openTrack() for each track in turn, and write its sink to the end; then commit() that of the
/// last. Only the last track goes straight into ffmpeg: the others wait in temporary files.
class MediaWriter {
public:
    /// `originalPath` may be empty; then nothing is copied.
    MediaWriter(std::string path, std::string originalPath, MediaInfo originalInfo,
                std::vector<MediaTrack> newTracks, std::optional<int> kilobitsToUse);

    /// The sink of the next track.
    std::unique_ptr<OutputSink> openTrack();

private:
    class Sink;

    [[nodiscard]] std::vector<std::string> command() const;
    void addCopies(std::vector<std::string>& words) const;

    std::string target;
    std::string source;
    MediaInfo info;
    std::vector<MediaTrack> tracks;
    std::optional<int> kilobits;
    const MediaFormat& format;
    PartialFile partial;
    std::vector<std::unique_ptr<PartialFile>> waiting; // tracks but the last
    std::unique_ptr<platform::ChildProcess> encoder;
};

} // namespace sorvane::tools
