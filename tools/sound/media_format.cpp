#include "sound/media_format.h"

#include "console/text.h"
#include "sound/media_reader.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace sorvane::tools {

namespace {

const MediaFormat formats[] = {
    {"m4a", "ipod", "aac", {"aac", "alac", "ac3"}, false},
    {"m4b", "ipod", "aac", {"aac", "alac"}, false},
    {"mp4", "mp4", "aac", {"aac", "mp3", "ac3", "eac3", "opus", "flac", "alac"}, true},
    {"m4v", "mp4", "aac", {"aac", "ac3", "alac"}, true},
    {"mov",
     "mov",
     "aac",
     {"aac", "mp3", "ac3", "alac", "pcm_s16le", "pcm_s24le", "pcm_s16be"},
     true},
    {"mkv",
     "matroska",
     "aac",
     {"aac", "mp3", "mp2", "ac3", "eac3", "opus", "vorbis", "flac", "alac", "pcm_s16le",
      "pcm_s24le", "pcm_f32le"},
     true},
    {"mka", "matroska", "flac", {"aac", "mp3", "ac3", "eac3", "opus", "vorbis", "flac"}, false},
    {"webm", "webm", "opus", {"opus", "vorbis"}, true},
    {"wma", "asf", "wmav2", {"wmav1", "wmav2"}, false},
    {"wmv", "asf", "wmav2", {"wmav1", "wmav2"}, true},
    {"avi", "avi", "mp3", {"mp3", "ac3", "pcm_s16le"}, true},
    {"aac", "adts", "aac", {"aac"}, false},
};

const char* const readOnly[] = {"asf", "3gp",  "3g2", "amr", "ac3", "eac3", "mpg", "mpeg",
                                "ts",  "m2ts", "mts", "flv", "ape", "wv",   "dts", "mp2"};

std::string encoderOf(const std::string& codec) {
    if (codec == "opus" || codec == "vorbis")
        return "lib" + codec;
    return codec == "mp3" ? "libmp3lame" : codec;
}

} // namespace

const MediaFormat* findMediaFormat(const std::string& extension) {
    const std::string small = lowerCase(extension);
    const auto* found = std::find_if(std::begin(formats), std::end(formats),
                                     [&](const MediaFormat& f) { return small == f.extension; });
    return found == std::end(formats) ? nullptr : found;
}

std::string extensionOf(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    return extension.empty() ? "" : lowerCase(extension.substr(1));
}

bool isMediaExtension(const std::string& extension) {
    const std::string small = lowerCase(extension);
    return findMediaFormat(small) != nullptr ||
           std::find(std::begin(readOnly), std::end(readOnly), small) != std::end(readOnly);
}

std::int64_t sufficientBitRate(std::int64_t original, bool sameCoding, int channels) {
    constexpr std::int64_t usual = 96000; // for each channel
    constexpr std::int64_t step = 8000;
    // Encoders come out a little below what they are asked for.
    const std::int64_t kept = original + original / 16;
    const std::int64_t wanted =
        sameCoding && original > 0 ? kept : std::max(kept, usual * std::min(channels, 6));
    return (wanted + step - 1) / step * step;
}

std::vector<std::string> encodingOf(const MediaFormat& format, const MediaStream& original,
                                    int stream, std::optional<int> kilobits) {
    const bool isKept = std::any_of(format.codecs.begin(), format.codecs.end(),
                                    [&](const char* codec) { return original.codec == codec; });
    const std::string codec = isKept ? original.codec : format.codec;
    const std::string selector = ":a:" + std::to_string(stream);
    std::vector<std::string> words{"-c" + selector, encoderOf(codec)};
    if (isLossy(codec)) {
        const std::int64_t bitRate =
            kilobits ? std::int64_t{*kilobits} * 1000
                     : sufficientBitRate(isLossy(original.codec) ? original.bitRate : 0, isKept,
                                         original.channels);
        words.insert(words.end(), {"-b" + selector, std::to_string(bitRate)});
    } else if ((codec == "flac" || codec == "alac") && original.bits > 0 && original.bits <= 16) {
        words.insert(words.end(), {"-sample_fmt" + selector, codec == "flac" ? "s16" : "s16p"});
    }
    return words;
}

} // namespace sorvane::tools
