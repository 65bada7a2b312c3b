#include "sound/audio_input.h"

#include "console/interrupt.h"
#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"
#include "sound/audio_reader.h"
#include "sound/input_file.h"
#include "sound/media_format.h"
#include "sound/media_reader.h"
#include "sound/raw_reader.h"
#include "sound/wav_header.h"

#include <filesystem>
#include <utility>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

/// Copies the rest of standard input, of which the front has been read.
void copyStandardInput(const std::string& front, const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    const auto write = [&](const char* data, std::size_t count) {
        return file != nullptr && std::fwrite(data, 1, count, file) == count;
    };
    bool done = write(front.data(), front.size());
    std::vector<char> buffer(std::size_t{1} << 16);
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), stdin)) {
        throwIfInterrupted();
        done = done && write(buffer.data(), count);
    }
    if (file == nullptr || std::fclose(file) != 0 || !done)
        throw ProgramError(exitFailure, "can't keep standard input in a temporary file");
}

} // namespace

AudioInput::AudioInput(const std::string& path, const std::optional<RawInput>& raw)
    : name(path), place(path), shape(raw) {
    if (shape) {
        if (path == "-")
            place.clear();
        plain = std::make_unique<RawReader>(path, *shape);
        return;
    }
    if (path == "-")
        openStandardInput();
    else
        requireReadable(path);
    if (plain)
        return;
    needsFfmpeg = isMediaExtension(extensionOf(place));
    if (!needsFfmpeg) {
        try {
            plain = std::make_unique<AudioReader>(place, name);
            return;
        } catch (const ProgramError&) {
            // ffmpeg knows more formats, but what it says of the others is harder to read.
            if (ffmpegPath("ffprobe").empty())
                throw;
            try {
                info = readMediaInfo(place);
            } catch (const ProgramError&) {
            }
            if (!info || info->audioTracks().empty())
                throw;
            needsFfmpeg = true;
        }
    }
    if (media().audioTracks().empty())
        throw ProgramError(exitInput, inQuotes(name) + " holds no audio");
}

AudioInput::~AudioInput() = default;

/// Plain WAV is read as it comes; all else takes seeking, and so a file.
void AudioInput::openStandardInput() {
    platform::makeBinary(stdin);
    std::string front;
    const std::optional<WavHeader> header = readWavHeader(stdin, front);
    if (header) {
        place.clear();
        plain =
            std::make_unique<RawReader>("standard input", header->shape, stdin, header->dataBytes);
        return;
    }
    std::error_code error;
    copy = std::make_unique<PartialFile>((fs::temp_directory_path(error) / "stdin").string());
    place = copy->path();
    name = "standard input";
    copyStandardInput(front, place);
}

int AudioInput::numTracks() const {
    return needsFfmpeg ? static_cast<int>(info->audioTracks().size()) : 1;
}

std::unique_ptr<AudioSource> AudioInput::open(int track) {
    if (!needsFfmpeg)
        return std::move(plain);
    const std::vector<MediaStream> tracks = media().audioTracks();
    const bool keepsTime = tracks.size() > 1 || media().hasMovingPictures();
    return std::make_unique<MediaReader>(place, media(), tracks.at(static_cast<std::size_t>(track)),
                                         keepsTime);
}

const MediaInfo& AudioInput::media() {
    if (!info)
        info = place.empty() || shape ? MediaInfo{} : readMediaInfo(place);
    return *info;
}

} // namespace sorvane::tools
