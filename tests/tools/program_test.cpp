#include "tools/audio_files.h"
#include "tools/program.h"
#include "tools/small_models.h"
#include "util/model_file.h"

#include <gtest/gtest.h>

namespace sorvane::test {

namespace {

AudioFile processed(const AudioFile& input, const std::string& model,
                    const std::vector<std::string>& options = {}) {
    const TempFolder folder;
    writeAudio(folder.path("in"), input);
    runProcess(model, {folder.path("in"), folder.path("out.wav")}, options);
    return readAudio(folder.path("out.wav"));
}

} // namespace

TEST(Program, DefaultGainsGiveTheInputBack) {
    const struct {
        const char* name;
        int rate;
        int channels;
        int length;
        int type;
        double tolerance;
    } cases[] = {
        {"half the model's rate", 24000, 1, 20001, SF_FORMAT_FLOAT, 1e-6},
        {"0.92 of it", 44160, 2, 30000, SF_FORMAT_FLOAT, 1e-6},
        {"twice its rate", 96000, 2, 40000, SF_FORMAT_FLOAT, 1e-6},
        {"six channels", 48000, 6, 5000, SF_FORMAT_FLOAT, 1e-6},
        {"twice, integers", 96000, 2, 40000, SF_FORMAT_PCM_16, 0},
        {"bytes", 48000, 1, 9999, SF_FORMAT_PCM_U8, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AudioFile input = noiseFile(c.rate, c.channels, c.length, SF_FORMAT_WAV | c.type);
        const AudioFile output = processed(input, noiseGate);
        if (c.type != SF_FORMAT_FLOAT) { // what the file holds after rounding
            const TempFile rounded(".wav");
            writeAudio(rounded.path(), input);
            input = readAudio(rounded.path());
        }
        EXPECT_LE(distance(input.samples, output.samples), c.tolerance);
        EXPECT_EQ(output.sampleRate, c.rate);
        EXPECT_EQ(output.channels, c.channels);
        EXPECT_EQ(output.format & SF_FORMAT_SUBMASK, c.type);
        const int container = output.format & SF_FORMAT_TYPEMASK; // of more channels with speakers
        EXPECT_EQ(container, c.channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV);
    }
}

TEST(Program, OptionsSteerTheBusses) {
    const AudioFile input = noiseFile(48000, 2, 12000);
    const TempFile threeBusses = threeBusModel().write();
    const TempFile oneMask =
        [] {
            ModelFile model = threeBusModel();
            model.numMasks = 1;
            model.outputNames = {"1", "0"}; // names win over numbers
            model.layers = {conv("masks", "input", {{1, 1, 1, 1}, {0.0F}}, {{1}, {0.25F}})};
            return model;
        }()
            .write();
    const struct {
        const char* name;
        const TempFile& model;
        std::vector<std::string> options;
        double factor; // that the whole signal gets
    } cases[] = {
        {"stem by name", threeBusses, {"--stem", "Voice"}, 1.0 / 3},
        {"remainder as a stem", threeBusses, {"--stem", "Rest"}, 0.5},
        {"gains", threeBusses, {"--gain", "0=0.6", "--gain", "Drums = loud=3"}, 0.2 + 0.5 + 0.5},
        {"later gains win", threeBusses, {"--gain", "Rest=9", "--gain", "2=0"}, 0.5},
        {"names before numbers", oneMask, {"--stem", "0"}, 0.75},
        {"remainder level", oneMask, {"--remainder", "-20"}, 0.25 + 0.075},
        // A quarter is bent to pow(0.25, exp(-0.0075 * 100)).
        {"sensitivity -100", oneMask, {"--sensitivity", "1=-100", "--stem", "1"}, 0.519526},
        {"what is removed", threeBusses, {"--gain", "0=0", "--invert"}, 1.0 / 3},
        {"a part of that in small blocks",
         threeBusses,
         {"--gain", "0=0", "--invert", "--amount", "0.25", "--block", "7"},
         1.0 / 12},
    };
    for (const auto& c : cases) {
        const AudioFile output = processed(input, c.model.path(), c.options);
        EXPECT_LE(distance(output.samples, scaled(input.samples, c.factor)), 1e-6) << c.name;
    }
}

TEST(Program, TheOutputsNameChoosesTheFormat) {
    const int wav = SF_FORMAT_WAV;
    const struct {
        int input;
        const char* output;
        std::vector<std::string> options;
        int expected;
        double tolerance; // of lossy formats only the length is compared
    } cases[] = {
        {wav | SF_FORMAT_PCM_24, "a.flac", {}, SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 1e-6},
        {wav | SF_FORMAT_PCM_U8, "a.FLAC", {}, SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, 0},
        {wav | SF_FORMAT_ULAW, "a.aiff", {}, SF_FORMAT_AIFF | SF_FORMAT_ULAW, 0},
        {wav | SF_FORMAT_IMA_ADPCM, "a.wav", {}, wav | SF_FORMAT_PCM_16, 0},
        {SF_FORMAT_AU | SF_FORMAT_PCM_16, "a.rf64", {}, SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 0},
        {wav | SF_FORMAT_FLOAT, "a.wav", {"--sample-type", "pcm16"}, wav | SF_FORMAT_PCM_16, 2e-5},
        {wav | SF_FORMAT_PCM_16,
         "a.au",
         {"--sample-type", "float32"},
         SF_FORMAT_AU | SF_FORMAT_FLOAT,
         1e-6},
        {wav | SF_FORMAT_PCM_16, "a.ogg", {}, SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1},
        {wav | SF_FORMAT_PCM_16, "a.opus", {}, SF_FORMAT_OGG | SF_FORMAT_OPUS, 1},
        {SF_FORMAT_OGG | SF_FORMAT_VORBIS, "a.wav", {}, wav | SF_FORMAT_PCM_24, 1e-6},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        writeAudio(folder.path("in"), noiseFile(48000, 1, 10000, c.input));
        runProcess(noiseGate, {folder.path("in"), folder.path(c.output)}, c.options);
        const AudioFile output = readAudio(folder.path(c.output));
        const AudioFile input = readAudio(folder.path("in"));
        EXPECT_EQ(output.format & ~SF_FORMAT_ENDMASK, c.expected) << c.output;
        EXPECT_LE(distance(input.samples, output.samples), c.tolerance) << c.output;
    }
}

TEST(Program, InfoTellsTheFigures) {
    const ProgramResult gate = runProgram({"info", noiseGate});
    EXPECT_EQ(gate.exitCode, 0) << gate.errors;
    const TempFile threeBusses = threeBusModel().write();
    const ProgramResult three = runProgram({"info", threeBusses.path()});
    const TempFile groups =
        ModelFile{.inputPacking = {.code = 6, .split = 9, .rest = 40, .pool = 4}}.write();
    const ProgramResult grouped = runProgram({"info", groups.path()});
    const struct {
        const ProgramResult& result;
        const char* text;
    } cases[] = {
        {gate, "version      0x100A\n"},
        {gate, "hop          512 samples, 10.6667 ms\n"},
        {gate, "busses       0 Speech\n"},
        {gate, "1 Noise (what is left over)\n"},
        // The transform's three hops less the one that it starts with, and the look-ahead's one.
        {gate, "latency      1 frames of look-ahead, 1,536 samples in all, 32 ms\n"},
        {gate, "weights      11\n"},
        {gate, "mean    ConvLayer     input  weights 3x3x1x1, bias empty, strideT 1"},
        {gate, "output  OutputLayer   mask\n"},
        {grouped, "input        49 bins, complex, in groups of 4 from bin 9 on; 19 rows\n"},
        {three, "output       2 masks\n"},
        {three, "latency      0 frames of look-ahead, 512 samples in all, 10.6667 ms\n"},
    };
    for (const auto& c : cases)
        EXPECT_NE(c.result.output.find(c.text), std::string::npos) << c.text << c.result.output;
}

} // namespace sorvane::test
