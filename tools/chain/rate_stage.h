#pragma once

#include "sound/audio_sink.h"

#include "audio/sample_rate_conversion.h"

#include <cstdint>
#include <vector>

namespace sorvane::tools {

/// Rates that can be asked for: from an eighth of the input's to eight times it.
inline constexpr int highestRateRatio = 8;

/// Changes the rate of a stream. What goes on is aligned with what came, and its length is that of
/// what came times the ratio of the rates, rounded up.
class RateStage : public AudioSink {
public:
    /// The rates must be convertible.
    RateStage(int numChannels, int rateBefore, int rateAfter, AudioSink& nextSink);

    /// Raises ProgramError with exitUsage for rates that can't be converted.
    static void requireConvertible(int inputRate, int outputRate);

    void write(const float* samples, int count) override;
    void finish() override;

    /// The length that `inputLength` samples are converted to.
    static std::int64_t lengthAfter(std::int64_t inputLength, int inputRate, int outputRate);

private:
    void convert(const Signal32& block);
    void handOn(const Signal32& converted, int count);

    int channels;
    int inputRate;
    int outputRate;
    AudioSink& next;
    SampleRateConversion conversion;
    std::int64_t received = 0;
    std::int64_t given = 0;
    std::vector<float> interleaved;
};

} // namespace sorvane::tools
