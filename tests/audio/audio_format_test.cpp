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

TEST(SpeakerDescription, OddRowsOfTheTable) {
    EXPECT_EQ(SpeakerDescription(5).maxFrequency, 120.0F);
    EXPECT_EQ(SpeakerDescription(17).x, SpeakerDescription(19).x);
    EXPECT_EQ(SpeakerDescription(17).shortName, "TRL");
    for (const int id : {-1, 0, 22})
        EXPECT_EQ(SpeakerDescription(id).shortName, "N/A");
}

} // namespace sorvane::test
