#include "audio/audio_format.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace sorvane::test {

TEST(AudioFormat, UnknownCountsKeepWhatTheyHad) {
    EXPECT_EQ(defaultFormat(11, 48000.0).speakerIds, std::vector<int>(11, 0));
    EXPECT_THROW(defaultFormat(-1, 48000.0), std::length_error);
    AudioFormat grown = defaultFormat(2, 48000.0);
    EXPECT_EQ(grown.speakers[1]->longName, "Right");
    grown.setDefaultLayout(11);
    EXPECT_EQ(grown.speakerIds, (std::vector<int>{2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(grown.speakers[10]->longName, "Undefined");
}

TEST(AudioFormat, ComparesRatesAndSpeakers) {
    const AudioFormat stereo = defaultFormat(2, 48000.0);
    EXPECT_TRUE(stereo == defaultFormat(2, 48000.0));
    EXPECT_FALSE(stereo == defaultFormat(2, 44100.0));
    EXPECT_FALSE(stereo == defaultFormat(1, 48000.0));
    AudioFormat swapped = stereo;
    std::swap(swapped.speakerIds[0], swapped.speakerIds[1]);
    EXPECT_FALSE(stereo == swapped);
    const AudioFormat nan = defaultFormat(2, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(nan == nan);
}

TEST(SpeakerDescription, EveryRowOfTheTable) {
    const struct {
        const char *shortName, *longName;
        float x, y, z;
    } rows[] = {
        {"N/A", "Undefined", 0, 0, 0},
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
        {"N/A", "Undefined", 0, 0, 0},
    };
    for (int id = 0; id < 23; ++id) {
        const SpeakerDescription speaker(id);
        const auto& row = rows[id];
        EXPECT_EQ(speaker.shortName + speaker.longName, std::string(row.shortName) + row.longName);
        EXPECT_TRUE(speaker.x == row.x && speaker.y == row.y && speaker.z == row.z) << id;
        EXPECT_EQ(speaker.maxFrequency, id == 5 ? 120.0F : -1.0F) << id;
    }
}

TEST(AudioFormat, EveryLayout) {
    const std::vector<int> layouts[] = {{},
                                        {1},
                                        {2, 3},
                                        {2, 3, 4},
                                        {2, 3, 6, 7},
                                        {2, 3, 4, 6, 7},
                                        {2, 3, 4, 5, 6, 7},
                                        {2, 3, 4, 6, 7, 11, 12},
                                        {2, 3, 4, 5, 6, 7, 11, 12},
                                        {2, 3, 4, 6, 7, 11, 12, 20, 21},
                                        {2, 3, 4, 5, 6, 7, 11, 12, 20, 21}};
    for (int channels = 0; channels <= 10; ++channels)
        EXPECT_EQ(defaultFormat(channels, 48000.0).speakerIds, layouts[channels]) << channels;
}

} // namespace sorvane::test
