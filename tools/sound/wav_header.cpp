#include "sound/wav_header.h"

#include "console/text.h"

#include <filesystem>
#include <sndfile.h>

namespace sorvane::tools {

namespace {

constexpr std::uint32_t plainIntegers = 1;
constexpr std::uint32_t floats = 3;
constexpr std::uint32_t extensible = 0xFFFE;
constexpr std::uint32_t openLength = 0xFFFFFFFF;
constexpr std::uint32_t longestFormat = 1U << 16;

// What follows the coding's number in an extensible header.
const char* const codingSuffix = "\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71";
constexpr std::size_t codingSuffixSize = 14;

std::uint32_t numberAt(const std::string& bytes, std::size_t begin, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i > 0; --i)
        value = value << 8U | static_cast<unsigned char>(bytes[begin + i - 1]);
    return value;
}

std::string littleEndian(std::uint32_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i, value >>= 8U)
        bytes += static_cast<char>(value & 0xFFU);
    return bytes;
}

/// Appends the next `count` bytes; false at the end of the file.
bool take(std::FILE* file, std::size_t count, std::string& consumed) {
    const std::size_t before = consumed.size();
    consumed.resize(before + count);
    const std::size_t got = std::fread(consumed.data() + before, 1, count, file);
    consumed.resize(before + got);
    return got == count;
}

std::optional<RawInput> shapeOf(const std::string& format) {
    if (format.size() < 16)
        return std::nullopt;
    std::uint32_t coding = numberAt(format, 0, 2);
    if (coding == extensible && format.size() >= 26)
        coding = numberAt(format, 24, 2);
    const std::uint32_t bits = numberAt(format, 14, 2);
    const RawFormat* raw = nullptr;
    if (coding == plainIntegers)
        raw = findRawFormat(bits == 8    ? SF_FORMAT_PCM_U8
                            : bits == 16 ? SF_FORMAT_PCM_16
                            : bits == 24 ? SF_FORMAT_PCM_24
                            : bits == 32 ? SF_FORMAT_PCM_32
                                         : 0);
    else if (coding == floats)
        raw = findRawFormat(bits == 64 ? SF_FORMAT_DOUBLE : bits == 32 ? SF_FORMAT_FLOAT : 0);
    const auto channels = static_cast<int>(numberAt(format, 2, 2));
    const std::uint32_t rate = numberAt(format, 4, 4);
    if (raw == nullptr || channels == 0 || channels > 1024 || rate == 0 || rate > 10000000 ||
        numberAt(format, 12, 2) != bits / 8 * numberAt(format, 2, 2))
        return std::nullopt;
    return RawInput{*raw, static_cast<int>(rate), channels};
}

} // namespace

std::optional<WavHeader> readWavHeader(std::FILE* file, std::string& consumed) {
    if (!take(file, 12, consumed) || consumed.substr(8, 4) != "WAVE" ||
        (consumed.substr(0, 4) != "RIFF" && consumed.substr(0, 4) != "RF64"))
        return std::nullopt;
    std::optional<RawInput> shape;
    std::int64_t longSize = -1; // of RF64
    for (;;) {
        const std::size_t begin = consumed.size();
        if (!take(file, 8, consumed))
            return std::nullopt;
        const std::string name = consumed.substr(begin, 4);
        const std::uint32_t size = numberAt(consumed, begin + 4, 4);
        if (name == "data") {
            if (!shape)
                return std::nullopt;
            // Streams have all bits set, or all that fit into a signed number, or none.
            const bool isOpen = size == 0 || size >= 0x7FFFF000U;
            return WavHeader{*shape, isOpen ? longSize : std::int64_t{size},
                             static_cast<std::int64_t>(consumed.size())};
        }
        if (size > longestFormat * 64 || !take(file, size + size % 2, consumed))
            return std::nullopt;
        const std::string body = consumed.substr(begin + 8, size);
        if (name == "fmt ")
            shape = shapeOf(body);
        if (name == "ds64" && body.size() >= 16)
            longSize = static_cast<std::int64_t>(numberAt(body, 8, 4)) |
                       static_cast<std::int64_t>(numberAt(body, 12, 4)) << 32;
    }
}

std::string wavHeaderText(const RawFormat& format, int sampleRate, int channels,
                          std::int64_t dataBytes) {
    const bool isFloat = format.integerBits == 0;
    const bool isExtensible = channels > 2;
    const auto bytesPerSample = static_cast<std::uint32_t>(format.bytesPerSample());
    const std::uint32_t frame = bytesPerSample * static_cast<std::uint32_t>(channels);
    const std::uint32_t coding = isFloat ? floats : plainIntegers;
    std::string body = littleEndian(isExtensible ? extensible : coding, 2) +
                       littleEndian(static_cast<std::uint32_t>(channels), 2) +
                       littleEndian(static_cast<std::uint32_t>(sampleRate), 4) +
                       littleEndian(static_cast<std::uint32_t>(sampleRate) * frame, 4) +
                       littleEndian(frame, 2) + littleEndian(bytesPerSample * 8, 2);
    if (isExtensible)
        body += littleEndian(22, 2) + littleEndian(bytesPerSample * 8, 2) + littleEndian(0, 4) +
                littleEndian(coding, 2) + std::string(codingSuffix, codingSuffixSize);
    const std::uint64_t riff = 4 + 8 + body.size() + 8 + static_cast<std::uint64_t>(dataBytes);
    const bool isOpen = dataBytes < 0 || riff >= 0x7FFFF000U;
    return "RIFF" + littleEndian(isOpen ? openLength : static_cast<std::uint32_t>(riff), 4) +
           "WAVEfmt " + littleEndian(static_cast<std::uint32_t>(body.size()), 4) + body + "data" +
           littleEndian(isOpen ? openLength : static_cast<std::uint32_t>(dataBytes), 4);
}

std::string missingOfWav(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    std::FILE* file = error ? nullptr : std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return {};
    std::string consumed;
    const std::optional<WavHeader> header = readWavHeader(file, consumed);
    std::fclose(file);
    if (!header || header->dataBytes <= 0)
        return {};
    const std::int64_t there = static_cast<std::int64_t>(size) - header->dataStart;
    if (there >= header->dataBytes)
        return {};
    const double second = static_cast<double>(header->shape.format.bytesPerSample()) *
                          header->shape.channels * header->shape.sampleRate;
    return "it was cut off: " + timeText(static_cast<double>(there) / second) + " of " +
           timeText(static_cast<double>(header->dataBytes) / second) + " are there";
}

} // namespace sorvane::tools
