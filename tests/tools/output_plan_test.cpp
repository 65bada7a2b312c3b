#include "console/program_error.h"
#include "run/output_plan.h"
#include "sound/output_format.h"

#include <gtest/gtest.h>
#include <sndfile.h>

namespace sorvane::test {

namespace {

// All paths in order, separated by spaces.
std::string pathsOf(const std::vector<tools::FilePlan>& plans) {
    std::string text;
    for (const tools::FilePlan& plan : plans)
        for (const tools::OutputPlan& output : plan.outputs)
            text += (text.empty() ? "" : " ") + output.path;
    return text;
}

} // namespace

TEST(OutputPlan, EveryOutputHasItsOwnName) {
    const std::vector<std::string> busses = {"Voice", "voice", "Rest"};
    const struct {
        std::vector<std::string> inputs;
        std::string pattern;
        std::string extension;
        std::vector<int> stems;
        std::string expected;
    } cases[] = {
        {{"a/x.flac", "y.w64"}, "", "", {}, "out/x.flac out/y.w64"},
        {{"x.MP2", "x", "-"}, "", "", {}, "out/x.wav out/x-2.wav out/stdin.wav"},
        {{"x.wav"}, "", "", {0, 1, 2}, "out/x.Voice.wav out/x.voice-2.wav out/x.Rest.wav"},
        {{"x.wav"}, "{bus} of {input}.flac", "", {1}, "out/voice of x.flac"},
        {{"x.wav", "y.wav"}, "same.{ext}", "", {}, "out/same.wav out/same-2.wav"},
    };
    for (const auto& c : cases) {
        const tools::NamingRules rules{"out", c.pattern, c.extension, c.stems};
        EXPECT_EQ(pathsOf(planOutputs({c.inputs.begin(), c.inputs.end()}, rules, busses)),
                  c.expected);
    }
}

TEST(OutputPlan, NamesOfBussesBecomePlain) {
    const struct {
        std::string name;
        std::string expected;
    } cases[] = {
        {"Drums 2_b.x-y", "Drums 2_b.x-y"},
        {"../../etc/passwd", "_._.._etc_passwd"},
        {"a\\b:c*d?\"e\n\x01", "a_b_c_d__e__"},
        {"\xA4\xA4", "bus"},
        {"-rf", "_rf"},
        {"end. ", "end._"},
        {"nul", "_nul"},
        {"COM7.x", "_COM7.x"},
        {std::string(300, 'n'), std::string(100, 'n')},
        {std::string("a\0b", 3), "a_b"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(tools::fileNameOfBus(c.name), c.expected);
}

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
