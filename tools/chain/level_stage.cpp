#include "chain/level_stage.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace sorvane::tools {

float PeakMeter::add(const float* samples, std::size_t count) {
    // Without their signs floats have the order of their bits, NaN above all, and the largest of
    // integers is found faster.
    std::int32_t bits = 0;
    for (std::size_t i = 0; i < count; ++i)
        bits = std::max(bits, std::bit_cast<std::int32_t>(samples[i]) & 0x7FFFFFFF);
    const auto largest = std::bit_cast<float>(bits);
    if (std::isfinite(largest)) {
        highest = std::max(highest, largest);
        return largest;
    }
    for (std::size_t i = 0; i < count; ++i)
        if (std::isfinite(samples[i]))
            highest = std::max(highest, std::abs(samples[i]));
    return largest;
}

double fullScale(int integerBits) {
    return integerBits == 0 ? 1.0 : 1.0 - std::ldexp(1.0, 1 - std::min(integerBits, 25));
}

LevelStage::LevelStage(int numChannels, int integerBits, bool limitsFloats, AudioSink& nextSink)
    : channels(numChannels),
      isInteger(integerBits > 0),
      limits(limitsFloats || isInteger),
      lowest(-1.0),
      highest(std::nextafter(1.0, 2.0)),
      top(static_cast<float>(fullScale(integerBits))),
      next(nextSink) {
    if (!isInteger)
        return;
    // Half a step more is rounded to the last integer, or at the top, where the tie goes to the
    // even one, is just too much.
    const double halfStep = std::ldexp(1.0, -integerBits);
    lowest -= halfStep;
    highest = 1.0 - halfStep;
}

float LevelStage::limited(float sample) {
    const auto value = static_cast<double>(sample);
    if (value >= highest) {
        ++clipped;
        return top;
    }
    if (value < lowest) {
        ++clipped;
        return -1.0F;
    }
    return isInteger && std::isnan(sample) ? 0.0F : sample;
}

void LevelStage::write(const float* samples, int count) {
    const auto size = static_cast<std::size_t>(count) * static_cast<std::size_t>(channels);
    const float largest = meter.add(samples, size);
    if (limits && !(static_cast<double>(largest) < std::min(-lowest, highest))) {
        block.resize(size);
        std::transform(samples, samples + size, block.begin(),
                       [this](float sample) { return limited(sample); });
        samples = block.data();
    }
    next.write(samples, count);
}

} // namespace sorvane::tools
