#include "sound/media_reader.h"

#include "console/interrupt.h"
#include "console/program_error.h"
#include "console/text.h"

#include <cmath>
#include <sndfile.h>

namespace sorvane::tools {

namespace {

/// A file that is shorter than its header tells by more than this is broken.
constexpr double toleratedSeconds = 1.0;

std::vector<std::string> decodingOf(const std::string& path, const MediaStream& track,
                                    bool keepsTime) {
    std::vector<std::string> command{
        ffmpegPath(), "-nostdin",      "-v",   "error",
        "-i",         mediaPath(path), "-map", "0:" + std::to_string(track.index)};
    if (keepsTime)
        command.insert(command.end(), {"-af", "aresample=async=1:first_pts=0"});
    const std::string rate = std::to_string(track.sampleRate);
    const std::string channels = std::to_string(track.channels);
    command.insert(command.end(),
                   {"-ar", rate, "-ac", channels, "-f", "f32le", "-c:a", "pcm_f32le", "-"});
    return command;
}

} // namespace

MediaReader::MediaReader(const std::string& path, const MediaInfo& info,
                         const MediaStream& audioTrack, bool keepsTime)
    : name(path),
      track(audioTrack),
      tags(info.tags),
      decoder(decodingOf(path, track, keepsTime), platform::ChildProcess::Pipe::fromItsOutput) {}

int MediaReader::format() const {
    if (isLossy(track.codec))
        return SF_FORMAT_VORBIS;
    if (track.codec.rfind("pcm_f", 0) == 0)
        return SF_FORMAT_FLOAT;
    if (track.bits == 0 || track.bits == 16)
        return SF_FORMAT_PCM_16;
    return track.bits > 24 ? SF_FORMAT_PCM_32 : SF_FORMAT_PCM_24;
}

std::int64_t MediaReader::expectedLength() const {
    return track.seconds > 0.0 ? std::llround(track.seconds * track.sampleRate) : unknownLength;
}

std::int64_t MediaReader::bitRate() const {
    return isLossy(track.codec) ? track.bitRate : 0;
}

std::int64_t MediaReader::read(float* samples, std::int64_t count) {
    if (ended)
        return 0;
    const std::size_t frameSize = sizeof(float) * static_cast<std::size_t>(track.channels);
    const auto done = static_cast<std::int64_t>(
        std::fread(samples, frameSize, static_cast<std::size_t>(count), decoder.stream()));
    length += done;
    if (done < count)
        throwIfInterrupted();
    if (done == 0 && count > 0) {
        ended = true;
        requireWhole();
    }
    return done;
}

void MediaReader::requireWhole() {
    const int exitCode = decoder.wait();
    const std::int64_t expected = expectedLength();
    const bool isShort = expected != unknownLength && static_cast<double>(expected - length) >
                                                          toleratedSeconds * track.sampleRate;
    const std::string messages = decoder.messages();
    if (exitCode != 0 || (isShort && !messages.empty()))
        throw ProgramError(exitInput,
                           "can't read on in " + inQuotes(name) + ": " + lastMessage(messages));
}

std::map<int, std::string> MediaReader::texts() const {
    const std::pair<const char*, int> names[] = {
        {"title", SF_STR_TITLE},       {"artist", SF_STR_ARTIST},      {"album", SF_STR_ALBUM},
        {"date", SF_STR_DATE},         {"comment", SF_STR_COMMENT},    {"genre", SF_STR_GENRE},
        {"track", SF_STR_TRACKNUMBER}, {"copyright", SF_STR_COPYRIGHT}};
    std::map<int, std::string> result;
    for (const auto& [tag, kind] : names)
        if (const auto found = tags.find(tag); found != tags.end())
            result[kind] = found->second;
    return result;
}

bool isLossy(const std::string& codec) {
    const bool isLossless = codec.rfind("pcm_", 0) == 0 || codec == "flac" || codec == "alac" ||
                            codec == "tta" || codec == "wavpack" || codec == "ape" ||
                            codec == "wmalossless" || codec == "truehd" || codec == "mlp";
    return !isLossless;
}

} // namespace sorvane::tools
