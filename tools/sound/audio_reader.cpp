#include "sound/audio_reader.h"

#include "console/interrupt.h"
#include "console/program_error.h"
#include "console/text.h"
#include "sound/input_file.h"
#include "sound/leading_tags.h"
#include "sound/sndfile_lock.h"
#include "sound/wav_header.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

namespace sorvane::tools {

namespace {

// As much of a broadcast record's text as the library takes.
using Broadcast = SF_BROADCAST_INFO_VAR(1 << 13);
using OneCue = SF_CUES_VAR(1);

} // namespace

AudioReader::AudioReader(const std::string& path, const std::string& shownName)
    : place(path), name(shownName.empty() ? path : shownName) {
    requireReadable(path);
    const std::lock_guard lock(sndfileOpening);
    file.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (file == nullptr)
        throw ProgramError(exitInput, "can't read audio from " + inQuotes(name) + ": " +
                                          printable(sf_strerror(nullptr)));
}

/// The header of a stream is often written before its length is known.
std::int64_t AudioReader::expectedLength() const {
    return info.seekable == SF_TRUE && info.frames < SF_COUNT_MAX ? std::int64_t{info.frames}
                                                                  : unknownLength;
}

std::int64_t AudioReader::read(float* samples, std::int64_t count) {
    const sf_count_t done = sf_readf_float(file.get(), samples, count);
    length += done;
    if (done < count)
        throwIfInterrupted();
    if (done == 0 && count > 0)
        requireWhole();
    return done;
}

/// What could be read has been given by now.
void AudioReader::requireWhole() {
    const auto fail = [&](const std::string& reason) {
        throw ProgramError(exitInput, "can't read on in " + inQuotes(name) + ": " + reason);
    };
    if (sf_error(file.get()) != SF_ERR_NO_ERROR)
        fail(printable(sf_strerror(file.get())));
    // The library passes over what is broken in such a file. Its header tells the length for sure.
    const bool isFlac = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC;
    if (isFlac && length < expectedLength())
        fail("it is broken after " + timeText(static_cast<double>(length) / info.samplerate) +
             " of " + timeText(static_cast<double>(info.frames) / info.samplerate));
}

std::int64_t AudioReader::skip(std::int64_t count) {
    if (info.seekable != SF_TRUE)
        return AudioSource::skip(count);
    const sf_count_t position = sf_seek(file.get(), 0, SEEK_CUR);
    const std::int64_t wanted = std::min<std::int64_t>(count, info.frames - position);
    // Not every coding can seek to every place; reading gets there too.
    if (sf_seek(file.get(), wanted, SEEK_CUR) != position + wanted)
        return AudioSource::skip(count);
    length += wanted;
    return wanted;
}

std::map<int, std::string> AudioReader::texts() const {
    std::map<int, std::string> result;
    for (int kind = SF_STR_FIRST; kind <= SF_STR_LAST; ++kind)
        if (const char* text = sf_get_string(file.get(), kind))
            result[kind] = text;
    return result;
}

std::vector<int> AudioReader::channelMap() const {
    std::vector<int> map(static_cast<std::size_t>(info.channels));
    const auto bytes = static_cast<int>(map.size() * sizeof(int));
    if (sf_command(file.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), bytes) != SF_TRUE)
        map.clear();
    return map;
}

std::int64_t AudioReader::bitRate() const {
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
        break;
    default:
        return 0;
    }
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(place, error);
    if (error || info.frames <= 0 || info.seekable != SF_TRUE)
        return 0;
    const auto bytes = static_cast<double>(size - readLeadingTags(place).bytes.size());
    return std::llround(8.0 * bytes * info.samplerate / static_cast<double>(info.frames));
}

AudioChunks AudioReader::chunks() const {
    AudioChunks chunks;
    const auto read = [&](std::vector<char>& record, std::size_t size, int command) {
        record.resize(size);
        if (sf_command(file.get(), command, record.data(), static_cast<int>(size)) != SF_TRUE)
            record.clear();
    };
    read(chunks.broadcast, sizeof(Broadcast), SFC_GET_BROADCAST_INFO);
    std::uint32_t numCues = 0;
    if (sf_command(file.get(), SFC_GET_CUE_COUNT, &numCues, sizeof numCues) == SF_TRUE)
        read(chunks.cues, sizeof(OneCue) + numCues * sizeof(SF_CUE_POINT), SFC_GET_CUE);
    return chunks;
}

std::string AudioReader::warning() const {
    const int container = info.format & SF_FORMAT_TYPEMASK;
    if (container != SF_FORMAT_WAV && container != SF_FORMAT_WAVEX)
        return {};
    const std::string missing = missingOfWav(place);
    return missing.empty() ? "" : inQuotes(name) + ": " + missing;
}

} // namespace sorvane::tools
