#include "sound/output_format.h"

#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sndfile.h>
#include <vector>

namespace sorvane::tools {

namespace {

struct Container {
    const char* extension;
    int format;
    bool sizesOf32Bits; // a file of more than 4 GiB can't be written
    int onlyType = 0;   // of containers that stand for one coding
};

const Container containers[] = {
    {"wav", SF_FORMAT_WAV, true},
    {"flac", SF_FORMAT_FLAC, false},
    {"ogg", SF_FORMAT_OGG, false, SF_FORMAT_VORBIS},
    {"oga", SF_FORMAT_OGG, false, SF_FORMAT_VORBIS},
    {"opus", SF_FORMAT_OGG, false, SF_FORMAT_OPUS},
    {"mp3", SF_FORMAT_MPEG, false, SF_FORMAT_MPEG_LAYER_III},
    {"aiff", SF_FORMAT_AIFF, true},
    {"aif", SF_FORMAT_AIFF, true},
    {"aifc", SF_FORMAT_AIFF, true},
    {"au", SF_FORMAT_AU, true},
    {"snd", SF_FORMAT_AU, true},
    {"caf", SF_FORMAT_CAF, false},
    {"w64", SF_FORMAT_W64, false},
    {"rf64", SF_FORMAT_RF64, false},
};

// Room for headers below the 4 GiB that 32-bit sizes count.
constexpr double mostBytesOf32Bits = 4294967295.0 - 65536.0;

struct Coding {
    int type;
    int integerBits;
    int bytes;
};

// Logarithmic codings expand to 16 bits.
const Coding codings[] = {
    {SF_FORMAT_PCM_U8, 8, 1},  {SF_FORMAT_PCM_S8, 8, 1},  {SF_FORMAT_PCM_16, 16, 2},
    {SF_FORMAT_PCM_24, 24, 3}, {SF_FORMAT_PCM_32, 32, 4}, {SF_FORMAT_ULAW, 16, 1},
    {SF_FORMAT_ALAW, 16, 1},   {SF_FORMAT_FLOAT, 0, 4},   {SF_FORMAT_DOUBLE, 0, 8},
};

Coding codingOf(int type) {
    for (const Coding& coding : codings)
        if (coding.type == type)
            return coding;
    return {type, 0, 0};
}

/// Sample types in the order of preference for an input of type `type`.
std::vector<int> preferredTypes(int type) {
    switch (type) {
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_S8:
        return {type, SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16};
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
        return {type, SF_FORMAT_PCM_16};
    case SF_FORMAT_PCM_24:
        return {type, SF_FORMAT_PCM_32, SF_FORMAT_FLOAT, SF_FORMAT_PCM_16};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
        return {SF_FORMAT_PCM_32, SF_FORMAT_PCM_24, SF_FORMAT_PCM_16};
    case SF_FORMAT_FLOAT:
        return {type, SF_FORMAT_DOUBLE, SF_FORMAT_PCM_24, SF_FORMAT_PCM_16};
    case SF_FORMAT_DOUBLE:
        return {type, SF_FORMAT_FLOAT, SF_FORMAT_PCM_24, SF_FORMAT_PCM_16};
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_DWVW_24:
        // Lossy codings decode to more than 16 bits.
        return {SF_FORMAT_PCM_24, SF_FORMAT_PCM_16};
    default:
        return {SF_FORMAT_PCM_16};
    }
}

std::vector<int> wantedTypes(const OutputRequest& request) {
    switch (request.sampleType) {
    case SampleType::pcm16:
        return {SF_FORMAT_PCM_16};
    case SampleType::pcm24:
        return {SF_FORMAT_PCM_24};
    case SampleType::float32:
        return {SF_FORMAT_FLOAT};
    case SampleType::sameAsInput:
        break;
    }
    return preferredTypes(request.inputFormat & SF_FORMAT_SUBMASK);
}

bool canHold(int format, const OutputRequest& request) {
    SF_INFO info{};
    info.samplerate = request.sampleRate;
    info.channels = request.channels;
    info.format = format;
    return sf_format_check(&info) != 0;
}

const Container* findContainer(const std::string& extension) {
    const std::string small = lowerCase(extension);
    const auto* found = std::find_if(std::begin(containers), std::end(containers),
                                     [&](const Container& c) { return small == c.extension; });
    return found == std::end(containers) ? nullptr : found;
}

/// True for pipes and devices, whose header can't be completed at the end.
bool isWrittenStraight(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

const Container& containerOf(const std::string& path) {
    if (isWrittenStraight(path) && !std::filesystem::path(path).has_extension())
        return containers[0]; // a device such as /dev/null
    const std::string extension = std::filesystem::path(path).extension().string();
    if (const Container* container = findContainer(extension.empty() ? "" : extension.substr(1)))
        return *container;
    throw ProgramError(exitUsage, "can't tell the format of " + inQuotes(path) +
                                      " by its extension; known are " + knownExtensions() +
                                      ", and with ffmpeg m4a, mp4, mov, mkv, webm, wma, aac");
}

/// The container with the right kind of sizes for the length, still without its sample type.
OutputFormat sized(const Container& container, const Coding& coding, const OutputRequest& request) {
    OutputFormat result{container.format, coding.integerBits};
    if (!container.sizesOf32Bits)
        return result;
    const auto mostSamples =
        static_cast<std::int64_t>(mostBytesOf32Bits / request.channels / coding.bytes);
    const bool isWav = container.format == SF_FORMAT_WAV;
    const bool canGrow = isWav && !isWrittenStraight(request.path);
    if (canGrow && (request.length > mostSamples || request.length == unknownLength)) {
        result.format = SF_FORMAT_RF64;
        result.becomesWav = true;
        return result;
    }
    if (request.length > mostSamples && !isWav)
        throw ProgramError(exitUsage,
                           std::string("the result is too long for a file of the kind .") +
                               container.extension + "; wav, w64 and flac have no limit");
    if (isWav && request.channels > 2)
        result.format = SF_FORMAT_WAVEX; // names the speakers
    if (!isWav || canGrow)
        result.mostSamples = mostSamples;
    return result;
}

} // namespace

OutputFormat chooseOutputFormat(const OutputRequest& request) {
    const Container& container = containerOf(request.path);
    std::vector<int> types = wantedTypes(request);
    if (container.onlyType != 0) {
        if (request.sampleType != SampleType::sameAsInput)
            throw ProgramError(exitUsage, std::string("a file of the kind .") +
                                              container.extension +
                                              " has no sample type to choose");
        types = {container.onlyType};
    }
    for (const int type : types) {
        if (!canHold(container.format | type, request))
            continue;
        OutputFormat result = sized(container, codingOf(type), request);
        result.format |= type;
        return result;
    }
    throw ProgramError(exitUsage, std::string("a file of the kind .") + container.extension +
                                      " can't hold " + std::to_string(request.channels) +
                                      " channels of this sample type at " +
                                      std::to_string(request.sampleRate) + " Hz");
}

bool isKnownExtension(const std::string& extension) {
    return findContainer(extension) != nullptr;
}

std::string knownExtensions() {
    std::string text;
    for (const Container& container : containers)
        text += (text.empty() ? "" : ", ") + std::string(container.extension);
    return text;
}

} // namespace sorvane::tools
