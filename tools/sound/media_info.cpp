#include "sound/media_info.h"

#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace sorvane::tools {

namespace {

using Json = nlohmann::json;

/// What ffprobe prints, as one value. It writes numbers now as numbers, now as texts.
double numberOf(const Json& json, const char* name) {
    const auto found = json.find(name);
    if (found == json.end())
        return 0.0;
    if (found->is_number())
        return found->get<double>();
    return found->is_string() ? parseNumber(found->get<std::string>()).value_or(0.0) : 0.0;
}

std::string textOf(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_string() ? found->get<std::string>() : "";
}

std::string probe(const std::vector<std::string>& options, const std::string& path) {
    const std::string program = ffmpegPath("ffprobe");
    if (program.empty())
        throw ProgramError(exitInput, "can't read " + inQuotes(path) +
                                          ": it takes ffmpeg, which isn't installed");
    std::vector<std::string> command{program, "-v", "error", "-of", "json"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back(mediaPath(path));
    platform::ChildProcess child(command, platform::ChildProcess::Pipe::fromItsOutput);
    std::string text;
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, child.stream()))
        text.append(buffer, count);
    if (child.wait() != 0)
        throw ProgramError(exitInput,
                           "can't read " + inQuotes(path) + ": " + lastMessage(child.messages()));
    return text;
}

/// Some containers don't tell the rate of a stream: that of its first minute.
std::int64_t measuredBitRate(const std::string& path, int stream) {
    const std::string text = probe({"-select_streams", std::to_string(stream), "-read_intervals",
                                    "%+60", "-show_entries", "packet=size,duration_time"},
                                   path);
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object() || !json.contains("packets"))
        return 0;
    double bytes = 0.0;
    double seconds = 0.0;
    for (const Json& packet : json["packets"]) {
        bytes += numberOf(packet, "size");
        seconds += numberOf(packet, "duration_time");
    }
    return seconds > 0.0 ? static_cast<std::int64_t>(8.0 * bytes / seconds) : 0;
}

MediaStream streamOf(const Json& json, double seconds) {
    MediaStream stream;
    stream.index = static_cast<int>(numberOf(json, "index"));
    stream.kind = textOf(json, "codec_type");
    stream.codec = textOf(json, "codec_name");
    if (const auto found = json.find("disposition"); found != json.end()) {
        stream.isPicture = numberOf(*found, "attached_pic") != 0.0;
        stream.isDefault = numberOf(*found, "default") != 0.0;
    }
    stream.sampleRate = static_cast<int>(numberOf(json, "sample_rate"));
    stream.channels = static_cast<int>(numberOf(json, "channels"));
    stream.bits = static_cast<int>(
        std::max(numberOf(json, "bits_per_raw_sample"), numberOf(json, "bits_per_sample")));
    stream.bitRate = static_cast<std::int64_t>(numberOf(json, "bit_rate"));
    const double own = numberOf(json, "duration");
    stream.seconds = own > 0.0 ? own : seconds;
    return stream;
}

} // namespace

std::vector<MediaStream> MediaInfo::audioTracks() const {
    std::vector<MediaStream> tracks;
    std::copy_if(streams.begin(), streams.end(), std::back_inserter(tracks),
                 [](const MediaStream& stream) {
                     return stream.kind == "audio" && stream.sampleRate > 0 && stream.channels > 0;
                 });
    return tracks;
}

bool MediaInfo::hasMovingPictures() const {
    return std::any_of(streams.begin(), streams.end(), [](const MediaStream& stream) {
        return stream.kind == "video" && !stream.isPicture;
    });
}

std::string ffmpegPath(const std::string& program) {
    return platform::findProgram(program);
}

MediaInfo readMediaInfo(const std::string& path) {
    const Json json = Json::parse(probe({"-show_streams", "-show_format"}, path), nullptr, false);
    if (!json.is_object() || !json.contains("format"))
        throw ProgramError(exitInput, "can't read " + inQuotes(path) + ": ffmpeg tells nothing");
    MediaInfo info;
    const double seconds = numberOf(json["format"], "duration");
    for (const Json& stream : json.value("streams", Json::array()))
        info.streams.push_back(streamOf(stream, seconds));
    for (MediaStream& stream : info.streams)
        if (stream.kind == "audio" && stream.bitRate == 0)
            stream.bitRate = measuredBitRate(path, stream.index);
    const Json tags = json["format"].value("tags", Json::object());
    for (const auto& [name, value] : tags.items())
        if (value.is_string())
            info.tags[lowerCase(name)] = value.get<std::string>();
    return info;
}

std::string mediaPath(const std::string& path) {
    return "file:" + path;
}

std::string lastMessage(const std::string& messages) {
    const std::size_t end = messages.find_last_not_of("\r\n ");
    if (end == std::string::npos)
        return "no reason was given";
    const std::size_t lineStart = messages.find_last_of("\r\n", end);
    const std::size_t begin = lineStart == std::string::npos ? 0 : lineStart + 1;
    std::string line = messages.substr(begin, end + 1 - begin);
    if (const std::size_t bracket = line.rfind("] "); bracket != std::string::npos)
        line.erase(0, bracket + 2);
    if (const std::size_t name = line.find(": "); line.rfind("file:", 0) == 0)
        line.erase(0, name == std::string::npos ? 0 : name + 2);
    return line;
}

} // namespace sorvane::tools
