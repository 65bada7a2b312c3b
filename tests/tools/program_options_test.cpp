#include "tools/audio_files.h"
#include "tools/program.h"
#include "tools/small_models.h"
#include "util/signals.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace sorvane::test {

namespace {

using Json = nlohmann::json;

} // namespace

TEST(ProgramOptions, StemsAddUpToTheInput) {
    const TempFolder folder;
    AudioFile input = noiseFile(48000, 2, 20000);
    input.samples = scaled(input.samples, 3.0); // beyond full scale
    writeAudio(folder.path("in.wav"), input);
    const TempFile model = threeBusModel().write();
    runProcess(model.path(), {folder.path("in.wav")},
               {"--out-dir", folder.path("out"), "--stems", "all", "--clip", "scale"});
    std::vector<float> sum(input.samples.size());
    for (const char* bus : {"Voice", "Drums _ loud", "Rest"}) {
        const AudioFile stem = readAudio(folder.path(std::string("out/in.") + bus + ".wav"));
        ASSERT_EQ(stem.samples.size(), sum.size());
        std::transform(sum.begin(), sum.end(), stem.samples.begin(), sum.begin(), std::plus<>());
    }
    EXPECT_LE(distance(sum, input.samples), 1e-6); // the loudest stem is below full scale
}

TEST(ProgramOptions, SeveralInputsGiveWhatEachGivesAlone) {
    const TempFolder folder;
    std::vector<std::string> inputs;
    for (int i = 0; i < 5; ++i) {
        const std::string path = folder.path(std::to_string(i) + ".wav");
        writeAudio(path, noiseFile(44100 + 1000 * i, 1 + i % 2, 10000 + 3000 * i));
        inputs.push_back(path);
        runProcess(noiseGate, {path, folder.path(std::to_string(i) + ".alone.wav")},
                   {"--gain", "Noise=0.2"});
    }
    runProcess(noiseGate, inputs,
               {"--gain", "Noise=0.2", "--jobs", "3", "--out-dir", folder.path("out"), "--name",
                "{input}-clean.{ext}"});
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(readText(folder.path("out/" + std::to_string(i) + "-clean.wav")),
                  readText(folder.path(std::to_string(i) + ".alone.wav")));
}

TEST(ProgramOptions, StartAndDurationCutTheInput) {
    const TempFolder folder;
    const AudioFile input = noiseFile(48000, 2, 150000);
    writeAudio(folder.path("in.wav"), input);
    writeText(folder.path("in.raw"),
              std::string(reinterpret_cast<const char*>(input.samples.data()),
                          input.samples.size() * sizeof(float)));
    const std::string raw = "--raw-input";
    const struct {
        const char* file;
        std::vector<std::string> options;
        std::ptrdiff_t begin, end;
    } cases[] = {
        {"in.wav", {"--start", "0:01.5"}, 72000, 150000},
        {"in.wav", {"--start", "2", "--duration", "1:00:00"}, 96000, 150000},
        {"in.raw", {"--start", "1", "--duration", "1", raw, "f32le:48000:2"}, 48000, 96000},
        {"in.wav", {"--duration", "0"}, 0, 0},
    };
    for (auto c : cases) {
        c.options.emplace_back("--force");
        runProcess(noiseGate, {folder.path(c.file), folder.path("out.wav")}, c.options);
        const std::vector<float> expected(input.samples.begin() + 2 * c.begin,
                                          input.samples.begin() + 2 * c.end);
        EXPECT_LE(distance(readAudio(folder.path("out.wav")).samples, expected), 1e-6)
            << c.file << " from " << c.begin;
    }
}

// A sine keeps its place, its level and its length at every rate.
TEST(ProgramOptions, TheOutputRateIsConverted) {
    const struct {
        int inputRate;
        int outputRate;
        int length;
        std::int64_t expectedLength; // rounded up
        double tolerance;            // far from 1 the short filter does worse
    } cases[] = {
        {44100, 48000, 44101, 48002, 1e-3},
        {48000, 6000, 48001, 6001, 1e-2},
        {6000, 48000, 6001, 48008, 1e-2},
        {48000, 47999, 1, 1, 0},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        const double frequency = 440.0;
        writeAudio(folder.path("in.wav"), {c.inputRate, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                                           sine(c.length, frequency, c.inputRate)});
        runProcess(noiseGate, {folder.path("in.wav"), folder.path("out.wav")},
                   {"--output-rate", std::to_string(c.outputRate)});
        const AudioFile output = readAudio(folder.path("out.wav"));
        EXPECT_EQ(output.sampleRate, c.outputRate);
        ASSERT_EQ(static_cast<std::int64_t>(output.samples.size()), c.expectedLength);
        // The filter meets the silence around the signal for 1.5 ms at both ends.
        const std::vector<float> ideal =
            sine(static_cast<int>(c.expectedLength), frequency, c.outputRate);
        const auto edge = static_cast<std::ptrdiff_t>(c.outputRate * 0.002);
        if (c.expectedLength <= 2 * edge)
            continue;
        EXPECT_LE(distance({output.samples.begin() + edge, output.samples.end() - edge},
                           {ideal.begin() + edge, ideal.end() - edge}),
                  c.tolerance)
            << c.inputRate << " to " << c.outputRate;
    }
}

TEST(ProgramOptions, ClippingFollowsItsMode) {
    const TempFolder folder;
    const std::vector<float> samples = {1.5F, -2.0F, 0.25F, -0.5F, 0.0F, 1.0F};
    writeAudio(folder.path("in.wav"), {48000, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT, samples});
    const float top = 32767.0F / 32768.0F;
    const struct {
        std::vector<std::string> options;
        std::vector<float> expected;
        int clipped;
        double factor;
    } cases[] = {
        {{}, samples, 0, 1.0},
        {{"--sample-type", "pcm16"}, {top, -1, 0.25F, -0.5F, 0, top}, 3, 1.0},
        {{"--clip", "limit"}, {1, -1, 0.25F, -0.5F, 0, 1}, 2, 1.0},
        {{"--clip", "scale"}, {0.75F, -1, 0.125F, -0.25F, 0, 0.5F}, 0, 0.5},
    };
    for (auto c : cases) {
        c.options.insert(c.options.end(), {"--force", "--report", "json"});
        const ProgramResult result =
            runProcess(noiseGate, {folder.path("in.wav"), folder.path("out.wav")}, c.options);
        EXPECT_LE(distance(readAudio(folder.path("out.wav")).samples, c.expected), 4e-5);
        const Json report = Json::parse(result.output)["files"][0]["outputs"][0];
        // The identity is good to a few rounding errors, which may lift 1 past 1.
        EXPECT_NEAR(report["clippedSamples"].get<int>(), c.clipped, c.clipped == 2 ? 1 : 0);
        EXPECT_NEAR(report["peak"].get<double>(), 2.0, 1e-5);
        EXPECT_NEAR(report["factor"].get<double>(), c.factor, 4e-5);
        EXPECT_EQ(result.errors.find("clipped") != std::string::npos,
                  report["clippedSamples"].get<int>() > 0)
            << result.errors;
        EXPECT_EQ(folder.contents(), "in.wav out.wav");
    }
}

TEST(ProgramOptions, TheReportHasEveryFile) {
    const TempFolder folder;
    writeAudio(folder.path("in.wav"), noiseFile(96000, 1, 48000));
    const ProgramResult result =
        runProgram({"process", noiseGate, folder.path("in.wav"), folder.path("none.wav"),
                    "--out-dir", folder.path("out"), "--report", "json"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_NE(result.errors.find("2 files: 1 done, 1 failed\n"), std::string::npos)
        << result.errors;
    const Json files = Json::parse(result.output)["files"];
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0]["seconds"], 0.5);
    EXPECT_EQ(files[0]["latencySamples"], 3072);
    EXPECT_GT(files[0]["realTimeFactor"], 0.0);
    EXPECT_EQ(files[0]["outputs"][0]["path"], folder.path("out/in.wav"));
    EXPECT_NEAR(files[0]["outputs"][0]["peak"].get<double>(), 0.5, 1e-3);
    EXPECT_EQ(files[1]["exitCode"], 3);
    EXPECT_EQ(folder.contents(), "in.wav out");
}

TEST(ProgramOptions, InfoDrawsTheNetworkAndWritesJson) {
    ModelFile model = threeBusModel();
    model.layers.front().name = "quote \" and \\ end";
    model.layers.push_back(
        conv("late", "quote \" and \\ end", constantTensor({1, 1, 2, 2}, 0.0F), {}, {.delay = 2}));
    model.outputSource = "late";
    model.outputNames[0] = "no UTF-8 \xFF";
    const TempFile file = model.write();
    const ProgramResult json = runProgram({"info", file.path(), "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.errors;
    const Json info = Json::parse(json.output);
    EXPECT_EQ(info["sampleRate"], 48000.0);
    EXPECT_EQ(info["busses"][2], "Rest");
    EXPECT_EQ(info["weights"], 8);
    EXPECT_EQ(info["layers"][1]["inputs"][0], "quote \" and \\ end");
    EXPECT_EQ(info["layers"][0]["tensors"][0]["shape"], Json({1, 1, 1, 2}));

    const ProgramResult dot = runProgram({"info", file.path(), "--dot"});
    ASSERT_EQ(dot.exitCode, 0) << dot.errors;
    for (const char* text : {"input -> layer0;", "layer0 -> layer1;", "layer1 -> output;",
                             "label=\"quote \\\" and \\\\ end\\nConvLayer\\nweights 1x1x1x2",
                             "\\nstrideF 1\\ndilationT 1\\ndelay 2\"]"})
        EXPECT_NE(dot.output.find(text), std::string::npos) << text << dot.output;
}

TEST(ProgramOptions, BenchMeasures) {
    const ProgramResult result = runProgram({"bench", noiseGate, "--seconds", "1", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    const Json figures = Json::parse(result.output);
    const double median = figures["secondsPerFrame"]["median"].get<double>();
    EXPECT_GT(median, 0.0);
    EXPECT_GE(figures["secondsPerFrame"]["percentile99"].get<double>(), median);
    EXPECT_GE(figures["audioSeconds"].get<double>(), 1.0);
}

} // namespace sorvane::test
