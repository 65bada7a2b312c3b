#include "chain/rate_stage.h"

#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>

namespace sorvane::tools {

namespace {

// The filter lasts 1.5 ms: below, it has too few taps to be one; above, its table becomes large.
constexpr int lowestInputRate = 4000;
constexpr int highestInputRate = 1000000;

constexpr int blockOfZeros = 1024;

} // namespace

RateStage::RateStage(int numChannels, int rateBefore, int rateAfter, AudioSink& nextSink)
    : channels(numChannels), inputRate(rateBefore), outputRate(rateAfter), next(nextSink) {
    conversion.setFormats(defaultFormat(channels, inputRate), defaultFormat(channels, outputRate));
}

void RateStage::requireConvertible(int inputRate, int outputRate) {
    const auto fail = [](const std::string& reason) {
        throw ProgramError(exitUsage, "--output-rate: " + reason);
    };
    if (inputRate < lowestInputRate || inputRate > highestInputRate)
        fail("the input's " + groupedNumber(inputRate) + " Hz are not from " +
             groupedNumber(lowestInputRate) + " to " + groupedNumber(highestInputRate));
    const double ratio = static_cast<double>(outputRate) / inputRate;
    if (ratio * highestRateRatio < 1.0 || ratio > highestRateRatio)
        fail(groupedNumber(outputRate) + " Hz are not between 1/8 and 8 times the input's " +
             groupedNumber(inputRate));
}

std::int64_t RateStage::lengthAfter(std::int64_t inputLength, int inputRate, int outputRate) {
    // Whole seconds apart, so that no product is too large.
    const std::int64_t seconds = inputLength / inputRate;
    const std::int64_t rest = inputLength % inputRate;
    return seconds * outputRate + (rest * outputRate + inputRate - 1) / inputRate;
}

void RateStage::write(const float* samples, int count) {
    received += count;
    Signal32 block(channels, count);
    for (int channel = 0; channel < channels; ++channel) {
        float* row = block.channelData(channel);
        const float* source = samples + channel;
        for (int i = 0; i < count; ++i, source += channels)
            row[i] = *source;
    }
    convert(block);
}

void RateStage::finish() {
    const std::int64_t length = lengthAfter(received, inputRate, outputRate);
    while (given < length)
        convert(Signal32(channels, blockOfZeros, 0.0F));
    next.finish();
}

void RateStage::convert(const Signal32& block) {
    Signal32 converted;
    conversion.process(converted, block);
    const std::int64_t wanted = lengthAfter(received, inputRate, outputRate) - given;
    const auto count = static_cast<int>(std::min<std::int64_t>(converted.length, wanted));
    if (count > 0)
        handOn(converted, count);
}

void RateStage::handOn(const Signal32& converted, int count) {
    interleaved.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(channels));
    for (int channel = 0; channel < channels; ++channel) {
        const float* row = converted.row(channel);
        float* destination = interleaved.data() + channel;
        for (int i = 0; i < count; ++i, destination += channels)
            *destination = row[i];
    }
    given += count;
    next.write(interleaved.data(), count);
}

} // namespace sorvane::tools
