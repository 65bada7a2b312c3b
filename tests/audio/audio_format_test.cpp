#include "audio/audio_format.h"

#include <gtest/gtest.h>

#include <limits>

namespace sorvane::test {

TEST(AudioFormat, DefaultLayouts) {
    const std::vector<int> layouts[] = {
        {},
        {1},
        {2, 3},
        {2, 3, 4},
        {2, 3, 6, 7},
        {2, 3, 4, 6, 7},
        {2, 3, 4, 5, 6, 7},
        {2, 3, 4, 6, 7, 11, 12},
        {2, 3, 4, 5, 6, 7, 11, 12},
        {2, 3, 4, 6, 7, 11, 12, 20, 21},
        {2, 3, 4, 5, 6, 7, 11, 12, 20, 21},
        {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    };
    for (const std::vector<int>& layout : layouts) {
        AudioFormat format;
        format.setDefaultLayout(static_cast<int>(layout.size()));
        EXPECT_EQ(format.speakerIds, layout);
        ASSERT_EQ(format.speakers.size(), layout.size());
        for (std::size_t i = 0; i < layout.size(); ++i)
            EXPECT_EQ(format.speakers[i]->id, layout[i]);
    }

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
    EXPECT_EQ(SpeakerDescription(5).y, -1.0F);
    EXPECT_EQ(SpeakerDescription(6).maxFrequency, -1.0F);
    EXPECT_EQ(SpeakerDescription(17).x, SpeakerDescription(19).x);
    EXPECT_EQ(SpeakerDescription(17).shortName, "TRL");
    for (const int id : {-1, 0, 22}) {
        const SpeakerDescription unknown(id);
        EXPECT_EQ(unknown.id, id);
        EXPECT_EQ(unknown.shortName, "N/A");
        EXPECT_EQ(unknown.y, 0.0F);
    }
}

} // namespace sorvane::test
