#include "chain/processor_stage.h"

#include "console/interrupt.h"
#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>

namespace sorvane::tools {

namespace {

/// The latency is the most that a sound network holds back. The margin of frames is for one whose
/// strides make it give its frames in groups.
constexpr double marginInHops = 256.0;

std::size_t sampleCount(std::int64_t length, int channels) {
    return static_cast<std::size_t>(length) * static_cast<std::size_t>(channels);
}

} // namespace

ProcessorStage::ProcessorStage(Processor& processorToUse, Blend factors, int largestBlock,
                               AudioSink& nextSink)
    : processor(processorToUse),
      blend(factors),
      next(nextSink),
      blockSize(largestBlock),
      mostHeldBack(2 * std::int64_t{processor.latency()} +
                   static_cast<std::int64_t>(marginInHops * processor.secondsPerHop() *
                                             processor.sampleRate())),
      block(sampleCount(largestBlock, processor.channels())) {}

void ProcessorStage::write(const float* samples, int count) {
    received += count;
    if (blend.dry != 0.0F)
        dry.insert(dry.end(), samples, samples + sampleCount(count, processor.channels()));
    push(samples, count);
}

void ProcessorStage::finish() {
    const std::vector<float> zeros(block.size());
    while (pulled < received)
        push(zeros.data(), blockSize);
    next.finish();
}

void ProcessorStage::push(const float* samples, int count) {
    throwIfInterrupted();
    processor.push(samples, count);
    pushed += count;
    pull();
    if (pushed - pulled > mostHeldBack + blockSize)
        throw ProgramError(exitFailure, "the model gives no output or too little: after " +
                                            groupedNumber(pushed) + " samples only " +
                                            groupedNumber(pulled) + " came back");
}

void ProcessorStage::pull() {
    while (const int got = processor.pull(block.data(), blockSize)) {
        // Beyond what was received comes only what the zeros gave.
        const auto wanted = std::min<std::int64_t>(got, received - pulled);
        pulled += got;
        if (wanted <= 0)
            continue;
        mixWithDry(wanted);
        next.write(block.data(), static_cast<int>(wanted));
    }
}

void ProcessorStage::mixWithDry(std::int64_t count) {
    if (blend.dry == 0.0F && blend.wet == 1.0F)
        return;
    const std::size_t samples = sampleCount(count, processor.channels());
    for (std::size_t i = 0; i < samples; ++i)
        block[i] *= blend.wet;
    if (blend.dry == 0.0F)
        return;
    for (std::size_t i = 0; i < samples; ++i)
        block[i] += blend.dry * dry[i];
    dry.erase(dry.begin(), dry.begin() + static_cast<std::ptrdiff_t>(samples));
}

} // namespace sorvane::tools
