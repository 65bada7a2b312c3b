#include "sound/raw_reader.h"

#include "console/interrupt.h"
#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"
#include "sound/input_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace sorvane::tools {

RawReader::RawReader(const std::string& path, RawInput rawInput)
    : name(path), input(std::move(rawInput)) {
    packing.select(input.format.sampleCode, input.format.bigEndian);
    if (path == "-") {
        name = "standard input";
        platform::makeBinary(stdin);
        file.reset(stdin);
        return;
    }
    requireReadable(path);
    file.reset(std::fopen(path.c_str(), "rb"));
    if (file == nullptr)
        throw ProgramError(exitInput, "can't read " + inQuotes(path) + ": " + std::strerror(errno));
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error))
        length =
            static_cast<std::int64_t>(std::filesystem::file_size(path, error) / bytesPerFrame());
}

RawReader::RawReader(std::string streamName, RawInput rawInput, std::FILE* stream,
                     std::int64_t bytesLeft)
    : name(std::move(streamName)), input(std::move(rawInput)), file(stream) {
    packing.select(input.format.sampleCode, input.format.bigEndian);
    if (bytesLeft >= 0)
        length = end = bytesLeft / static_cast<std::int64_t>(bytesPerFrame());
}

std::int64_t RawReader::read(float* samples, std::int64_t count) {
    const std::size_t frameSize = bytesPerFrame();
    count = std::min(count, end - position);
    bytes.resize(static_cast<std::size_t>(count) * frameSize);
    const std::size_t got = std::fread(bytes.data(), 1, bytes.size(), file.get());
    if (got < bytes.size() && std::ferror(file.get()) != 0) {
        throwIfInterrupted();
        throw ProgramError(exitInput, "can't read on in " + inQuotes(name));
    }
    bytesDropped += got % frameSize;
    const auto done = static_cast<int>(got / frameSize);
    position += done;
    cutOff = done < count && end != std::numeric_limits<std::int64_t>::max();
    row.resize(static_cast<std::size_t>(done));
    for (int channel = 0; channel < input.channels; ++channel) {
        const std::ptrdiff_t start = std::ptrdiff_t{packing.bytesPerSample} * channel;
        packing.reader(bytes.data() + start, row.data(), done, input.channels);
        float* destination = samples + channel;
        for (const float sample : row) {
            *destination = sample + input.format.offset();
            destination += input.channels;
        }
    }
    return done;
}

std::string RawReader::warning() const {
    if (cutOff)
        return inQuotes(name) +
               " was cut off: " + timeText(static_cast<double>(position) / input.sampleRate) +
               " of " + timeText(static_cast<double>(end) / input.sampleRate) + " came";
    if (bytesDropped == 0)
        return {};
    return inQuotes(name) + " ends within a sample: its last " + std::to_string(bytesDropped) +
           (bytesDropped == 1 ? " byte is" : " bytes are") + " dropped";
}

} // namespace sorvane::tools
