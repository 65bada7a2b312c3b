#include "tools/audio_files.h"
#include "tools/program.h"
#include "util/model_file.h"

#include <gtest/gtest.h>

namespace sorvane::test {

namespace {

ModelFile modelOfBusses(int count) {
    ModelFile model;
    model.numMasks = count - 1;
    model.outputNames.clear();
    for (int i = 0; i < count; ++i)
        model.outputNames.push_back("bus " + std::to_string(i));
    model.layers = {conv("masks", "input", constantTensor({1, 1, 1, count - 1}, 0.0F), {})};
    model.outputSource = "masks";
    return model;
}

// Gives a frame for every second one that it takes.
ModelFile lazyModel() {
    ModelFile model = modelOfBusses(2);
    model.layers.front() =
        conv("masks", "input", constantTensor({1, 1, 1, 1}, 0.0F), {}, {.strideT = 2});
    return model;
}

} // namespace

TEST(ProgramFailures, EachHasItsExitCodeAndOneLine) {
    const TempFolder folder;
    writeAudio(folder.path("in.wav"), noiseFile(48000, 1, 5000));
    writeAudio(folder.path("long.wav"), noiseFile(48000, 1, 250000));
    writeAudio(folder.path("seven.wav"), noiseFile(48000, 7, 100));
    auto gateBytes = TempFile::readFile(noiseGate);
    gateBytes.pop_back();
    const TempFile gateCut(gateBytes);
    const TempFile fourBusses = modelOfBusses(4).write();
    const TempFile manyBusses = modelOfBusses(18).write();
    const TempFile lazy = lazyModel().write();

    const std::string in = folder.path("in.wav");
    const std::string out = folder.path("out.wav");
    const auto process = [](const std::string& model, const std::string& input,
                            const std::string& output, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"process", model, input, output});
        return options;
    };
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        const char* text; // that the message holds
    } cases[] = {
        {{}, 2, "command"},
        {{"frobnicate"}, 2, "denoise, process"},
        {{"proccess"}, 2, "did you mean 'process'"},
        {{"process", noiseGate, in}, 2, "OUTPUT"},
        {process(noiseGate, in, out, {"--nonsense"}), 2, "--nonsense"},
        {process(noiseGate, in, out, {"--remainder", "0.5"}), 2, "from -96 to 0"},
        {process(noiseGate, in, out, {"--gain", "Speech"}), 2, "BUS=FACTOR"},
        {process(noiseGate, in, out, {"--gain", "Noise", "0"}), 2, "--gain Noise=0"},
        {process(noiseGate, in, out, {"--gain", "noise=0", "--remainder", "-6"}), 2, "both set"},
        {process(noiseGate, in, out, {"--gain", "Speech=100.1"}), 2, "from 0 to 100"},
        {process(noiseGate, in, out, {"--gain", "2=1"}), 2, "Speech, Noise"},
        {process(noiseGate, in, out, {"--sensitivity", "0=101"}), 2, "from -100 to 100"},
        {process(noiseGate, in, out, {"--stem", "speach"}), 2, "did you mean 'Speech'"},
        {process(noiseGate, in, out, {"--stem", "0", "--gain", "0=1"}), 2, "excludes"},
        {process(fourBusses.path(), in, out, {"--remainder", "-10"}), 2, "one mask"},
        {process(manyBusses.path(), in, out, {"--gain", "16=1"}), 2, "sixteen"},
        {process(manyBusses.path(), in, out, {"--stem", "bus 3"}), 2, "sixteen"},
        {process(noiseGate, in, folder.path("out.xyz")), 2, "extension"},
        {process(noiseGate, folder.path("seven.wav"), folder.path("out.mp3")), 2, "7 channels"},
        {process(noiseGate, in, folder.path("./in.wav"), {"--force"}), 2, "same file"},
        {process(noiseGate, in, folder.path("long.wav")), 2, "--force"},
        {process(noiseGate, noiseGate, in, {out}), 2, "only one model"},
        {{"process", in, out}, 2, "the model is missing"},
        {process("spech-48k", in, out), 3, "did you mean 'speech-48k'"},
        {{"denoise", in, "--keep", "110%"}, 2, "--keep"},
        {{"denoise", in, in, "-o", out}, 2, "--out-dir"},
        {process(noiseGate, in, in, {out}), 2, "--out-dir"},
        {process(noiseGate, in, out, {"--stems", "all"}), 2, "--out-dir"},
        {process(noiseGate, in, in, {"--out-dir", out, "--stems", ","}), 2, "no bus"},
        {process(noiseGate, in, in, {"--out-dir", out, "--name", "a/b"}), 2, "--name"},
        {process(noiseGate, in, in, {"--out-dir", in}), 5, "folder"},
        {process(noiseGate, in, out, {"--start", "1:2:3:4"}), 2, "is not a time"},
        {process(noiseGate, in, out, {"--start", "0.2"}), 2, "is over after 0.104167 s"},
        {process(noiseGate, in, "/dev/null", {"--clip", "scale"}), 2, "--clip scale"},
        {process(noiseGate, in, out, {"--output-rate", "5999"}), 2, "between 1/8 and 8"},
        {process(noiseGate, in, out, {"--raw-input", "s16:48000:1"}), 2, "known are u8, s8"},
        {process(noiseGate, in, out, {"--raw-input", "s16le:48000:1025"}), 2, "channels"},
        {process(noiseGate, in, out, {"--raw-output", "wav"}), 2, "--raw-output"},
        {process(noiseGate, "-", "-", {"--out-dir", out}), 2, "only once"},
        {process(noiseGate, in, "/dev/full", {"--raw-output", "s16le"}), 5, "/dev/full"},
        {{"bench", in}, 4, "no valid model"},
        {process(folder.path("none.model"), in, out), 3, "none.model"},
        {process(noiseGate, folder.path("none.wav"), out), 3, "none.wav"},
        {process(noiseGate, folder.path(""), out), 3, "directory"},
        {process(noiseGate, fourBusses.path() + ".wav", out), 3, "can't read"},
        {process(in, in, out), 4, "no valid model"},
        {process(gateCut.path(), in, out), 4, "at byte"},
        {process(noiseGate, in, folder.path("none/out.wav")), 5, "none/out.wav"},
        {process(noiseGate, in, "/dev/full"), 5, "/dev/full"},
        {process(noiseGate, in, "/dev/full", {"--duration", "0.01"}), 5, "/dev/full"},
        {process(lazy.path(), folder.path("long.wav"), out), 1, "no output or too little"},
    };
    for (const auto& c : cases) {
        const ProgramResult result = runProgram(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.text << ": " << result.errors;
        EXPECT_NE(result.errors.find(c.text), std::string::npos) << c.text << result.errors;
        EXPECT_TRUE(result.hasOneLineOfErrors()) << result.errors;
        EXPECT_EQ(folder.contents(), "in.wav long.wav seven.wav") << c.text;
    }
}

TEST(ProgramFailures, AnOldOutputStaysUntilTheNewOneIsWhole) {
    const TempFolder folder;
    const TempFile lazy = lazyModel().write();
    writeAudio(folder.path("long.wav"), noiseFile(48000, 1, 250000));
    writeAudio(folder.path("out.wav"), noiseFile(48000, 1, 10));
    const auto before = TempFile::readFile(folder.path("out.wav"));
    const auto mode = std::filesystem::perms{0640};
    std::filesystem::permissions(folder.path("out.wav"), mode);
    EXPECT_EQ(runProgram({"process", lazy.path(), folder.path("long.wav"), folder.path("out.wav"),
                          "--force"})
                  .exitCode,
              1);
    EXPECT_EQ(TempFile::readFile(folder.path("out.wav")), before);
    EXPECT_EQ(runProgram({"process", noiseGate, folder.path("long.wav"), folder.path("out.wav"),
                          "--force"})
                  .exitCode,
              0);
    EXPECT_EQ(readAudio(folder.path("out.wav")).samples.size(), 250000U);
    EXPECT_EQ(std::filesystem::status(folder.path("out.wav")).permissions(), mode);
    EXPECT_EQ(folder.contents(), "long.wav out.wav");
}

TEST(ProgramFailures, DevicesTakeWhatTheyCan) {
    const TempFile in(".wav");
    writeAudio(in.path(), noiseFile(48000, 1, 5000));
    EXPECT_EQ(runProcess(noiseGate, {in.path(), "/dev/null"}, {"--amount", "0.5", "--gain", "1=0"})
                  .errors,
              "");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_EQ(runProgram({"--version"}).exitCode, 0);
    const std::string info = "{ \"" SORVANE_PROGRAM "\" info \"" + noiseGate + "\" > /dev/full; }";
    EXPECT_EQ(runShell(info).exitCode, 5);
}

TEST(ProgramFailures, AnInterruptedRunLeavesNothing) {
    const TempFolder folder;
    writeAudio(folder.path("in.wav"), noiseFile(48000, 1, 3000000));
    // The signal is sent once the run has begun to write.
    const std::string command = "{ \"" SORVANE_PROGRAM "\" process \"" + noiseGate + "\" \"" +
                                folder.path("in.wav") + "\" --out-dir \"" + folder.path("") +
                                "\" --stems all --clip scale --block 1 & run=$!; while ! ls \"" +
                                folder.path("") +
                                "\".*.part; do kill -0 $run || exit; done; kill -TERM $run; "
                                "wait $run; }";
    const ProgramResult result = runShell(command);
    EXPECT_EQ(result.exitCode, 128 + 15) << result.errors;
    EXPECT_NE(result.errors.find("sorvane: interrupted\n"), std::string::npos);
    EXPECT_EQ(folder.contents(), "in.wav");
}

} // namespace sorvane::test
