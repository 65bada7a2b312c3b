#include "sound/audio_reader.h"

#include "console/interrupt.h"
#include "console/program_error.h"
#include "console/text.h"
#include "sound/input_file.h"
#include "sound/sndfile_lock.h"

#include <algorithm>

namespace sorvane::tools {

AudioReader::AudioReader(const std::string& path) : name(path) {
    requireReadable(path);
    const std::lock_guard lock(sndfileOpening);
    file.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (file == nullptr)
        throw ProgramError(exitInput, "can't read audio from " + inQuotes(path) + ": " +
                                          printable(sf_strerror(nullptr)));
}

/// The header of a stream is often written before its length is known.
std::int64_t AudioReader::expectedLength() const {
    return info.seekable == SF_TRUE ? std::int64_t{info.frames} : unknownLength;
}

std::int64_t AudioReader::read(float* samples, std::int64_t count) {
    const sf_count_t done = sf_readf_float(file.get(), samples, count);
    if (done < count)
        throwIfInterrupted();
    if (done < count && sf_error(file.get()) != SF_ERR_NO_ERROR)
        throw ProgramError(exitInput, "can't read on in " + inQuotes(name) + ": " +
                                          printable(sf_strerror(file.get())));
    return done;
}

std::int64_t AudioReader::skip(std::int64_t count) {
    if (info.seekable != SF_TRUE)
        return AudioSource::skip(count);
    const sf_count_t position = sf_seek(file.get(), 0, SEEK_CUR);
    const std::int64_t wanted = std::min<std::int64_t>(count, info.frames - position);
    // Not every coding can seek to every place; reading gets there too.
    return sf_seek(file.get(), wanted, SEEK_CUR) == position + wanted ? wanted
                                                                      : AudioSource::skip(count);
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

} // namespace sorvane::tools
