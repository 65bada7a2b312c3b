#pragma once

#include <string>

namespace sorvane {

/// What is known of a channel's speaker: position in a listening room and names.
struct SpeakerDescription {
    /// The known identifiers are 1 to 21; any other gives "N/A", "Undefined" and position 0.
    explicit SpeakerDescription(int speakerId);

    int id;
    float x = 0.0F;             // -1 left, 1 right
    float y = 0.0F;             // 1 front, -1 rear
    float z = 0.0F;             // 0 ear level, 1 top
    float maxFrequency = -1.0F; // Hz, -1 for no limit
    std::string shortName;
    std::string longName;
};

} // namespace sorvane
