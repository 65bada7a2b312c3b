#include "sound/media_writer.h"

#include "console/interrupt.h"
#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace sorvane::tools {

/// Takes the samples of one track.
class MediaWriter::Sink : public OutputSink {
public:
    Sink(MediaWriter& mediaWriter, int numChannels, std::FILE* file, bool fileIsOurs)
        : writer(mediaWriter), channels(numChannels), stream(file), isOurs(fileIsOurs) {}

    ~Sink() override {
        if (isOurs && stream != nullptr)
            std::fclose(stream);
    }

    void write(const float* samples, int count) override {
        const std::size_t total =
            static_cast<std::size_t>(count) * static_cast<std::size_t>(channels);
        if (std::fwrite(samples, sizeof(float), total, stream) != total)
            fail(std::strerror(errno));
    }

    void finish() override {
        std::FILE* closed = std::exchange(stream, nullptr);
        if (isOurs) {
            if (std::fclose(closed) != 0)
                fail(std::strerror(errno));
        } else if (writer.encoder->wait() != 0) {
            fail(lastMessage(writer.encoder->messages()));
        }
    }

    void commit() override {
        if (!isOurs)
            writer.partial.commit();
    }

private:
    [[noreturn]] void fail(std::string reason) {
        throwIfInterrupted();
        if (!isOurs && writer.encoder->wait() != 0) // it knows better why it left
            reason = lastMessage(writer.encoder->messages());
        throw ProgramError(exitOutput, "can't write " + inQuotes(writer.target) + ": " + reason);
    }

    MediaWriter& writer;
    int channels;
    std::FILE* stream;
    bool isOurs;
};

MediaWriter::MediaWriter(std::string path, std::string originalPath, MediaInfo originalInfo,
                         std::vector<MediaTrack> newTracks, std::optional<int> kilobitsToUse)
    : target(std::move(path)),
      source(std::move(originalPath)),
      info(std::move(originalInfo)),
      tracks(std::move(newTracks)),
      kilobits(kilobitsToUse),
      format(*findMediaFormat(extensionOf(target))),
      partial(target) {
    if (ffmpegPath().empty())
        throw ProgramError(exitOutput, "can't write " + inQuotes(target) +
                                           ": it takes ffmpeg, which isn't installed");
}

std::unique_ptr<OutputSink> MediaWriter::openTrack() {
    const std::size_t index = waiting.size();
    const int channels = tracks.at(index).channels;
    if (index + 1 < tracks.size()) {
        waiting.push_back(std::make_unique<PartialFile>(target));
        std::FILE* file = std::fopen(waiting.back()->path().c_str(), "wb");
        if (file == nullptr)
            throw ProgramError(exitOutput,
                               "can't write " + inQuotes(target) + ": " + std::strerror(errno));
        return std::make_unique<Sink>(*this, channels, file, true);
    }
    encoder = std::make_unique<platform::ChildProcess>(command(),
                                                       platform::ChildProcess::Pipe::toItsInput);
    return std::make_unique<Sink>(*this, channels, encoder->stream(), false);
}

/// ffmpeg's inputs are the original, if there is one, and the new tracks.
std::vector<std::string> MediaWriter::command() const {
    std::vector<std::string> words{ffmpegPath(), "-nostdin", "-v", "error", "-y"};
    if (!source.empty())
        words.insert(words.end(), {"-i", mediaPath(source)});
    for (std::size_t i = 0; i < tracks.size(); ++i)
        words.insert(words.end(), {"-f", "f32le", "-ar", std::to_string(tracks[i].sampleRate),
                                   "-ac", std::to_string(tracks[i].channels), "-i",
                                   i < waiting.size() ? mediaPath(waiting[i]->path()) : "pipe:0"});
    if (source.empty())
        words.insert(words.end(), {"-map", "0"});
    words.insert(words.end(), {"-c", "copy", "-strict", "-2"});
    if (source.empty()) {
        const std::vector<std::string> encoding =
            encodingOf(format, tracks.front().original, 0, kilobits);
        words.insert(words.end(), encoding.begin(), encoding.end());
    } else {
        addCopies(words);
    }
    words.insert(words.end(), {"-f", format.muxer, mediaPath(partial.path())});
    return words;
}

/// The streams stay in their order, so that what was the second track still is.
void MediaWriter::addCopies(std::vector<std::string>& words) const {
    const bool holdsSubtitles = format.holdsPictures && extensionOf(source) == format.extension;
    int audioStreams = 0;
    for (const MediaStream& stream : info.streams) {
        const auto track =
            std::find_if(tracks.begin(), tracks.end(), [&](const MediaTrack& candidate) {
                return stream.kind == "audio" && candidate.original.index == stream.index;
            });
        const std::string copied = "0:" + std::to_string(stream.index);
        if (track != tracks.end()) {
            const auto index = track - tracks.begin();
            const std::vector<std::string> encoding =
                encodingOf(format, track->original, audioStreams, kilobits);
            words.insert(words.end(), {"-map", std::to_string(index + 1) + ":0"});
            words.insert(words.end(), encoding.begin(), encoding.end());
            const std::string selector = std::to_string(audioStreams);
            words.insert(words.end(),
                         {"-map_metadata:s:a:" + selector, "0:s:" + std::to_string(stream.index),
                          "-disposition:a:" + selector, stream.isDefault ? "default" : "0"});
            ++audioStreams;
        } else if (stream.kind == "audio") {
            words.insert(words.end(), {"-map", copied});
            ++audioStreams;
        } else if (stream.kind == "video" ? stream.isPicture || format.holdsPictures
                                          : holdsSubtitles && (stream.kind == "subtitle" ||
                                                               stream.kind == "attachment")) {
            words.insert(words.end(), {"-map", copied});
        }
    }
    words.insert(words.end(), {"-map_metadata", "0", "-map_chapters", "0"});
}

} // namespace sorvane::tools
