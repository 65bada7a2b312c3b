#pragma once

#include "sound/audio_sink.h"

#include <cstdint>
#include <vector>

namespace sorvane::tools {

/// The highest level of a stream; infinities and NaN don't count.
class PeakMeter {
public:
    /// Returns the highest level among these samples, infinite or NaN if one is.
    float add(const float* samples, std::size_t count);
    [[nodiscard]] double peak() const { return static_cast<double>(highest); }

private:
    float highest = 0.0F;
};

/// The highest sample that integers of so many bits, or floats for 0, hold. With 32 bits it is the
/// largest float below 1.
double fullScale(int integerBits);

/// Measures a stream, and brings what is beyond full scale to full scale.
class LevelStage : public AudioSink {
public:
    /// Samples that become integers of `integerBits` bits are always limited, and NaN becomes
    /// silence; for 0 bits, floats, `limitsFloats` decides.
    LevelStage(int numChannels, int integerBits, bool limitsFloats, AudioSink& nextSink);

    void write(const float* samples, int count) override;
    void finish() override { next.finish(); }

    [[nodiscard]] double peak() const { return meter.peak(); }

    /// Samples of all channels that were beyond full scale.
    [[nodiscard]] std::int64_t clippedSamples() const { return clipped; }

private:
    float limited(float sample);

    int channels;
    bool isInteger;
    bool limits;
    double lowest;  // samples below are clipped
    double highest; // samples from here on, with floats samples above
    float top;      // what they become
    AudioSink& next;
    PeakMeter meter;
    std::int64_t clipped = 0;
    std::vector<float> block;
};

} // namespace sorvane::tools
