#pragma once

#include "audio/speaker.h"

#include <memory>
#include <vector>

namespace sorvane {

/// One side of a processor: a speaker for each channel, and the sample rate.
struct AudioFormat {
    [[nodiscard]] int numChannels() const { return static_cast<int>(speakerIds.size()); }

    /// True with channels and a rate above 0.
    [[nodiscard]] bool isSet() const { return !speakerIds.empty() && sampleRate > 0.0; }

    /// Gives the channels the usual speakers for their count, which is known for 1 to 10; for other
    /// counts the identifiers stay as they were, and new ones are 0. std::length_error for a
    /// negative count.
    void setDefaultLayout(int channelCount);

    /// Makes the descriptions follow the identifiers.
    void updateSpeakers();

    /// Same rate and same identifiers in the same order; a NaN rate differs from everything.
    bool operator==(const AudioFormat& other) const {
        return sampleRate == other.sampleRate && speakerIds == other.speakerIds;
    }

    std::vector<int> speakerIds;
    std::vector<std::shared_ptr<SpeakerDescription>> speakers; // one an identifier, in their order
    double sampleRate = 0.0;                                   // Hz
};

/// A format of the usual speakers for a channel count.
AudioFormat defaultFormat(int channelCount, double sampleRate);

} // namespace sorvane
