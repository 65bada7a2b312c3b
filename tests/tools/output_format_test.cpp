#include "output_format.h"
#include "program_error.h"

#include <gtest/gtest.h>
#include <sndfile.h>

namespace sorvane::test {

TEST(OutputFormat, FilesBeyondFourGigabytesNeedLongSizes) {
    const std::int64_t longest = 2000000000; // two bytes each
    const struct {
        const char* path;
        std::int64_t length;
        int expected; // 0: refused
    } cases[] = {
        {"a.wav", longest, SF_FORMAT_WAV | SF_FORMAT_PCM_16},
        {"a.wav", longest * 2, SF_FORMAT_RF64 | SF_FORMAT_PCM_16},
        {"a.wav", tools::unknownLength, SF_FORMAT_RF64 | SF_FORMAT_PCM_16},
        {"a.flac", longest * 2, SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
        {"a.aiff", longest, SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
        {"a.aiff", longest * 2, 0},
    };
    for (const auto& c : cases) {
        int format = 0;
        try {
            format = tools::chooseOutputFormat(
                         {c.path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, c.length})
                         .format;
        } catch (const tools::ProgramError& error) {
            EXPECT_EQ(error.exitCode(), tools::exitUsage);
        }
        EXPECT_EQ(format, c.expected) << c.path << " of " << c.length;
    }
}

} // namespace sorvane::test
