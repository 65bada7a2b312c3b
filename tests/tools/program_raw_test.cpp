#include "tools/audio_files.h"
#include "tools/program.h"

#include <gtest/gtest.h>

namespace sorvane::test {

namespace {

std::string processCommand(const std::string& rest) {
    return "\"" SORVANE_PROGRAM "\" process \"" + noiseGate + "\" " + rest;
}

} // namespace

TEST(ProgramRaw, PackedStreamsComeBack) {
    const int little = SF_ENDIAN_LITTLE;
    const int big = SF_ENDIAN_BIG;
    const struct {
        const char* name;
        int format;
        double tolerance;
    } cases[] = {
        {"s8", SF_FORMAT_PCM_S8, 0},
        {"s16le", SF_FORMAT_PCM_16 | little, 0},
        {"s16be", SF_FORMAT_PCM_16 | big, 0},
        {"s24le", SF_FORMAT_PCM_24 | little, 1e-6},
        {"s24be", SF_FORMAT_PCM_24 | big, 1e-6},
        {"s32le", SF_FORMAT_PCM_32 | little, 1e-6},
        {"s32be", SF_FORMAT_PCM_32 | big, 1e-6},
        {"f32le", SF_FORMAT_FLOAT | little, 1e-6},
        {"f32be", SF_FORMAT_FLOAT | big, 1e-6},
        {"f64le", SF_FORMAT_DOUBLE | little, 1e-6},
        {"f64be", SF_FORMAT_DOUBLE | big, 1e-6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const TempFolder folder;
        const AudioFile shape = noiseFile(48000, 2, 3001, SF_FORMAT_RAW | c.format);
        writeAudio(folder.path("in"), shape);
        runProcess(noiseGate, {folder.path("in"), folder.path("out")},
                   {"--raw-input", std::string(c.name) + ":48000:2", "--raw-output", c.name});
        EXPECT_LE(distance(readRaw(folder.path("in"), shape).samples,
                           readRaw(folder.path("out"), shape).samples),
                  c.tolerance);
    }
}

TEST(ProgramRaw, UnsignedBytesAreSilentAt128) {
    const TempFolder folder;
    std::string in;
    for (int i = 0; i < 3000; ++i)
        in += static_cast<char>(i * 7 % 256);
    writeText(folder.path("in"), in);
    std::string loud;
    for (const char byte : in)
        loud += static_cast<char>(std::clamp(
            (static_cast<int>(static_cast<unsigned char>(byte)) - 128) * 3 + 128, 0, 255));
    const struct {
        std::string options;
        std::string expected;
    } cases[] = {{" --quiet", in}, {" --gain 0=3 --gain 1=3 --quiet", loud}};
    for (const auto& c : cases) {
        const ProgramResult result =
            runShell(processCommand("- - --raw-input u8:48000:1 --raw-output u8" + c.options) +
                     " < \"" + folder.path("in") + "\"");
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(result.output, c.expected) << c.options;
    }
}

TEST(ProgramRaw, NothingButAudioGoesToStandardOutput) {
    const TempFolder folder;
    writeText(folder.path("in"), std::string(4001, '\0'));
    const ProgramResult result =
        runShell(processCommand("- - --raw-input s16be:44100:2 --raw-output s24le --report json") +
                 " < \"" + folder.path("in") + "\"");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, std::string(6000, '\0'));
    EXPECT_NE(result.errors.find("its last 1 byte is dropped"), std::string::npos);
    EXPECT_NE(result.errors.find("\"clippedSamples\": 0"), std::string::npos) << result.errors;
}

// A WAV file of unknown length has to be ready for more than 4 GiB.
TEST(ProgramRaw, AStreamBecomesAPlainFile) {
    const TempFolder folder;
    const AudioFile in = noiseFile(48000, 2, 5000, SF_FORMAT_RAW | SF_FORMAT_FLOAT);
    writeAudio(folder.path("in"), in);
    const ProgramResult result =
        runShell("cat \"" + folder.path("in") + "\" | " +
                 processCommand("- \"" + folder.path("out.wav") + "\" --raw-input f32le:48000:2"));
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(readText(folder.path("out.wav")).substr(0, 4), "RIFF");
    EXPECT_LE(distance(readAudio(folder.path("out.wav")).samples, in.samples), 1e-6);
}

} // namespace sorvane::test
