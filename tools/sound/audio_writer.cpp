#include "sound/audio_writer.h"

#include "console/program_error.h"
#include "console/text.h"
#include "sound/bit_rate.h"
#include "sound/sndfile_lock.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace sorvane::tools {

namespace {

OutputFile& outputOf(void* user) {
    return *static_cast<OutputFile*>(user);
}

sf_count_t sizeOf(void* user) {
    return outputOf(user).size();
}

sf_count_t seekTo(sf_count_t offset, int origin, void* user) {
    OutputFile& output = outputOf(user);
    if (origin == SEEK_CUR)
        offset += output.position();
    else if (origin == SEEK_END)
        offset += output.size();
    return output.seek(offset) ? output.position() : -1;
}

sf_count_t readBytes(void* data, sf_count_t count, void* user) {
    return outputOf(user).read(data, count);
}

sf_count_t writeBytes(const void* data, sf_count_t count, void* user) {
    return outputOf(user).write(data, count);
}

sf_count_t positionOf(void* user) {
    return outputOf(user).position();
}

SF_VIRTUAL_IO virtualFile{sizeOf, seekTo, readBytes, writeBytes, positionOf};

} // namespace

AudioWriter::AudioWriter(const std::string& path, const OutputFormat& outputFormat,
                         const AudioDescription& description)
    : name(path),
      channels(description.channels),
      format(outputFormat),
      tags(description.tags),
      output(path) {
    const std::lock_guard lock(sndfileOpening);
    SF_INFO info{};
    info.samplerate = description.sampleRate;
    info.channels = description.channels;
    info.format = format.format;
    file.reset(sf_open_virtual(&virtualFile, SFM_WRITE, &info, &output));
    if (file == nullptr)
        failAsLibrary();
    // The peak chunk holds the time of day: without it, equal runs give equal files.
    sf_command(file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    if (format.becomesWav)
        sf_command(file.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    describe(description);
}

void AudioWriter::describe(const AudioDescription& description) {
    setBitRate(*file, format.format, description);
    const auto set = [&](const auto& record, int command) {
        auto copy = record;
        const std::size_t bytes = copy.size() * sizeof copy[0];
        if (bytes > 0)
            sf_command(file.get(), command, copy.data(), static_cast<int>(bytes));
    };
    set(description.channelMap, SFC_SET_CHANNEL_MAP_INFO);
    set(description.chunks.broadcast, SFC_SET_BROADCAST_INFO);
    set(description.chunks.cues, SFC_SET_CUE);
    for (const auto& [kind, text] : description.texts)
        sf_set_string(file.get(), kind, text.c_str());
}

void AudioWriter::failAsLibrary() {
    output.throwIfFailed();
    throw ProgramError(exitOutput,
                       "can't write " + inQuotes(name) + ": " + printable(sf_strerror(file.get())));
}

/// The library's integers have 32 bits, of which a format keeps the upper ones.
void AudioWriter::toIntegers(const float* samples) {
    // Added and taken off it rounds to the nearest integer, as far as 2^51.
    constexpr double rounding = 0x1.8p52;
    const auto limit = static_cast<double>(std::int64_t{1} << (format.integerBits - 1));
    const int shift = 32 - format.integerBits;
    const std::size_t count = integers.size();
    int* const out = integers.data();
    for (std::size_t i = 0; i < count; ++i) {
        double value = static_cast<double>(samples[i]) * limit + rounding - rounding;
        value = value < -limit ? -limit : value;
        value = value > limit - 1.0 ? limit - 1.0 : value;
        value = std::isnan(value) ? 0.0 : value;
        out[i] = static_cast<int>(value) << shift;
    }
}

void AudioWriter::write(const float* samples, int count) {
    length += count;
    if (length > format.mostSamples)
        throw ProgramError(exitOutput, "the result is too long for " + inQuotes(name) +
                                           "; wav, w64 and flac have no limit");
    sf_count_t written = 0;
    if (format.integerBits == 0) {
        written = sf_writef_float(file.get(), samples, count);
    } else {
        integers.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(channels));
        toIntegers(samples);
        written = sf_writef_int(file.get(), integers.data(), count);
    }
    if (written != count)
        failAsLibrary();
    output.throwIfFailed();
}

void AudioWriter::finish() {
    if (sf_close(file.release()) != 0) {
        output.throwIfFailed();
        throw ProgramError(exitOutput, "can't write " + inQuotes(name) + ": closing it failed");
    }
    replaceLeadingTags(output, tags);
    output.throwIfFailed();
}

} // namespace sorvane::tools
