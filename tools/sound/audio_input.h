#pragma once

#include "sound/audio_source.h"
#include "sound/media_info.h"
#include "sound/partial_file.h"
#include "sound/raw_format.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

/// A file of any kind, or standard input for the path "-", whose audio tracks can be read.
/// Failures raise ProgramError with exitInput.
class AudioInput {
public:
    /// `raw` tells the shape of packed samples, which have no header.
    AudioInput(const std::string& path, const std::optional<RawInput>& raw);
    ~AudioInput();

    [[nodiscard]] int numTracks() const;

    /// Starts to read a track, from 0.
    std::unique_ptr<AudioSource> open(int track);

    /// What ffmpeg tells of the file, asked when it is first needed. For packed samples and for
    /// plain WAV on standard input it is empty.
    const MediaInfo& media();

    /// Where the file lies; for standard input empty, or that of a copy.
    [[nodiscard]] const std::string& path() const { return place; }

private:
    void openStandardInput();

    std::string name;
    std::string place;
    std::optional<RawInput> shape;
    std::unique_ptr<PartialFile> copy; // of standard input
    std::unique_ptr<AudioSource> plain;
    std::optional<MediaInfo> info;
    bool needsFfmpeg = false;
};

} // namespace sorvane::tools
