#include "sound/raw_writer.h"

#include <algorithm>

namespace sorvane::tools {

RawWriter::RawWriter(const std::string& path, const RawFormat& rawFormat, int numChannels,
                     const std::string& header)
    : format(rawFormat), channels(numChannels), output(path) {
    packing.select(format.sampleCode, format.bigEndian);
    output.write(header.data(), static_cast<std::int64_t>(header.size()));
}

void RawWriter::write(const float* samples, int count) {
    const int total = count * channels;
    const auto size = static_cast<std::size_t>(total);
    if (format.offset() != 0.0F) {
        shifted.resize(size);
        std::transform(samples, samples + size, shifted.begin(),
                       [this](float sample) { return sample - format.offset(); });
        samples = shifted.data();
    }
    bytes.resize(size * static_cast<std::size_t>(packing.bytesPerSample));
    packing.writer(samples, bytes.data(), total, 1);
    output.write(bytes.data(), static_cast<std::int64_t>(bytes.size()));
    if (output.isWrittenStraight())
        output.flush();
    output.throwIfFailed();
}

} // namespace sorvane::tools
