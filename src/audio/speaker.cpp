#include "audio/speaker.h"

namespace sorvane {

namespace {

struct Row {
    const char* shortName;
    const char* longName;
    float x, y, z;
};

// Row i is identifier i + 1. Hosts know the positions as they stand, those of "TRL" included.
constexpr Row table[] = {
    {"M", "Mono", 0, 1, 0},
    {"L", "Left", -1, 1, 0},
    {"R", "Right", 1, 1, 0},
    {"C", "Center", 0, 1, 0},
    {"LFE", "Low frequency effects", 0, -1, 0},
    {"LS", "Left surround", -1, -1, 0},
    {"RS", "Right surround", 1, -1, 0},
    {"LC", "Left of center", -0.5F, 1, 0},
    {"RC", "Right of center", 0.5F, 1, 0},
    {"S", "Surround", 0, -1, 0},
    {"SL", "Side left", -1, 0, 0},
    {"SR", "Side right", 1, 0, 0},
    {"TM", "Top middle", 0, 0, 1},
    {"TFL", "Top front left", -1, 1, 1},
    {"TFC", "Top front center", 0, 1, 1},
    {"TFR", "Top front right", 1, 1, 1},
    {"TRL", "Top rear left", 1, -1, 1},
    {"TRC", "Top rear center", 0, -1, 1},
    {"TRR", "Top rear right", 1, -1, 1},
    {"TSL", "Top side left", -1, 0, 1},
    {"TSR", "Top side right", 1, 0, 1},
};

constexpr int numSpeakers = sizeof table / sizeof table[0];
constexpr int lowFrequencyEffects = 5;

} // namespace

SpeakerDescription::SpeakerDescription(int speakerId)
    : id(speakerId), shortName("N/A"), longName("Undefined") {
    if (id < 1 || id > numSpeakers)
        return;
    const Row& row = table[id - 1];
    shortName = row.shortName;
    longName = row.longName;
    x = row.x;
    y = row.y;
    z = row.z;
    if (id == lowFrequencyEffects)
        maxFrequency = 120.0F;
}

} // namespace sorvane
