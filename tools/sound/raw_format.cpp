#include "sound/raw_format.h"

#include "console/program_error.h"
#include "console/text.h"

#include <sndfile.h>

namespace sorvane::tools {

namespace {

// More than any recording has, and little enough for every size that follows from them.
constexpr int highestRate = 10000000;
constexpr int mostChannels = 1024;

const RawFormat formats[] = {
    {"u8", 0, false, SF_FORMAT_PCM_U8, 8},     {"s8", 1, false, SF_FORMAT_PCM_S8, 8},
    {"s16le", 2, false, SF_FORMAT_PCM_16, 16}, {"s16be", 2, true, SF_FORMAT_PCM_16, 16},
    {"s24le", 3, false, SF_FORMAT_PCM_24, 24}, {"s24be", 3, true, SF_FORMAT_PCM_24, 24},
    {"s32le", 4, false, SF_FORMAT_PCM_32, 32}, {"s32be", 4, true, SF_FORMAT_PCM_32, 32},
    {"f32le", 5, false, SF_FORMAT_FLOAT, 0},   {"f32be", 5, true, SF_FORMAT_FLOAT, 0},
    {"f64le", 6, false, SF_FORMAT_DOUBLE, 0},  {"f64be", 6, true, SF_FORMAT_DOUBLE, 0},
};

int parseCount(const std::string& text, int highest) {
    const bool isCount = !text.empty() && text.size() < 9 &&
                         text.find_first_not_of("0123456789") == std::string::npos;
    const int count = isCount ? std::stoi(text) : 0;
    return count <= highest ? count : 0;
}

} // namespace

int RawFormat::bytesPerSample() const {
    if (integerBits != 0)
        return integerBits / 8;
    return sndfileType == SF_FORMAT_DOUBLE ? 8 : 4;
}

const RawFormat* findRawFormat(int sndfileType) {
    for (const RawFormat& format : formats)
        if (format.sndfileType == sndfileType && !format.bigEndian)
            return &format;
    return nullptr;
}

RawFormat parseRawFormat(const std::string& text, const std::string& option) {
    for (const RawFormat& format : formats)
        if (format.name == text)
            return format;
    throw ProgramError(exitUsage, option + ": " + inQuotes(text) +
                                      " is not a format of packed samples; known are " +
                                      knownRawFormats());
}

RawInput parseRawInput(const std::string& text, const std::string& option) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == std::string::npos ? first : text.find(':', first + 1);
    if (second == std::string::npos)
        throw ProgramError(exitUsage, option + ": " + inQuotes(text) +
                                          " is not of the form FORMAT:RATE:CHANNELS");
    RawInput input{parseRawFormat(text.substr(0, first), option),
                   parseCount(text.substr(first + 1, second - first - 1), highestRate),
                   parseCount(text.substr(second + 1), mostChannels)};
    if (input.sampleRate == 0)
        throw ProgramError(exitUsage,
                           option + ": the rate must be from 1 to " + std::to_string(highestRate));
    if (input.channels == 0)
        throw ProgramError(exitUsage, option + ": the channels must be from 1 to " +
                                          std::to_string(mostChannels));
    return input;
}

std::string knownRawFormats() {
    std::string text;
    for (const RawFormat& format : formats)
        text += (text.empty() ? "" : ", ") + format.name;
    return text;
}

} // namespace sorvane::tools
