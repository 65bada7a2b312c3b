#include "chain/sample_store.h"

#include "console/interrupt.h"
#include "console/program_error.h"

#include <vector>

namespace sorvane::tools {

namespace {

constexpr int samplesAtOnce = 16384;

} // namespace

SampleStore::SampleStore(int numChannels, const std::string& target)
    : channels(numChannels), file(target) {
    if (file.isWrittenStraight())
        throw ProgramError(exitUsage, "--clip scale needs files to write to, not pipes or devices");
}

void SampleStore::write(const float* samples, int count) {
    const auto size = static_cast<std::size_t>(count) * static_cast<std::size_t>(channels);
    meter.add(samples, size);
    file.write(samples, static_cast<std::int64_t>(size * sizeof(float)));
    file.throwIfFailed();
}

void SampleStore::replay(double factor, AudioSink& sink) {
    const auto frameSize = static_cast<std::int64_t>(sizeof(float)) * channels;
    std::vector<float> block(static_cast<std::size_t>(samplesAtOnce) *
                             static_cast<std::size_t>(channels));
    file.seek(0);
    while (const std::int64_t bytes = file.read(block.data(), frameSize * samplesAtOnce)) {
        throwIfInterrupted();
        for (float& sample : block)
            sample = static_cast<float>(static_cast<double>(sample) * factor);
        sink.write(block.data(), static_cast<int>(bytes / frameSize));
    }
    if (file.position() != file.size())
        throw ProgramError(exitOutput, "can't read back what was stored for --clip scale");
    sink.finish();
}

} // namespace sorvane::tools
