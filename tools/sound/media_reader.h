#pragma once

#include "console/platform.h"
#include "sound/audio_source.h"
#include "sound/media_info.h"

#include <string>

namespace sorvane::tools {

/// One audio track of a file that ffmpeg reads, decoded by it into a pipe.
class MediaReader : public AudioSource {
public:
    /// With `keepsTime` gaps become silence, so that the track stays in step with the pictures and
    /// the other tracks.
    MediaReader(const std::string& path, const MediaInfo& info, const MediaStream& audioTrack,
                bool keepsTime);

    [[nodiscard]] int channels() const override { return track.channels; }
    [[nodiscard]] int sampleRate() const override { return track.sampleRate; }
    [[nodiscard]] int format() const override;
    [[nodiscard]] std::int64_t expectedLength() const override;
    [[nodiscard]] std::int64_t bitRate() const override;
    std::int64_t read(float* samples, std::int64_t count) override;
    [[nodiscard]] std::map<int, std::string> texts() const override;

private:
    void requireWhole();

    std::string name;
    MediaStream track;
    std::map<std::string, std::string> tags;
    std::int64_t length = 0; // read so far, samples per channel
    bool ended = false;
    platform::ChildProcess decoder;
};

/// Whether a coding keeps only what is heard.
bool isLossy(const std::string& codec);

} // namespace sorvane::tools
