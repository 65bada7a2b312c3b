// The layer on the engine: both ways to run against a plain handle, models, and what is refused.

#include "sorvane_host.hpp"
#include "support/vector/dispatch.h"
#include "util/noise_gate.h"
#include "util/processor_handle.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>

namespace sorvane::test {

namespace {

namespace fs = std::filesystem;

void setModelPath(const std::string& list) {
#if defined(_WIN32)
    _putenv_s("SORVANE_MODEL_PATH", list.c_str());
#else
    setenv("SORVANE_MODEL_PATH", list.c_str(), 1);
#endif
}

host::Model noiseGate() {
    return host::Model(SORVANE_MODELS_DIR "/noise-gate-48k.model");
}

// What a plain handle makes of a file, as long as it.
AudioRows fileRoad(const AudioRows& input, double rate) {
    const ProcessorHandle handle =
        makeProcessor(noiseGate48k(), static_cast<int>(input.size()), rate);
    sorvaneSetParameterValue(handle.get(), SORVANE_BUS_GAIN + 1, 0.0F);
    push(handle.get(), input);
    push(handle.get(), AudioRows(input.size(), std::vector<float>(20000)));
    return slice(pull(handle.get(), input.size()), 0, input[0].size());
}

std::vector<float> interleaved(const AudioRows& audio) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < audio[0].size(); ++i)
        for (const std::vector<float>& row : audio)
            samples.push_back(row[i]);
    return samples;
}

AudioRows planar(const std::vector<float>& samples, std::size_t channels) {
    AudioRows audio(channels);
    for (std::size_t i = 0; i < samples.size(); ++i)
        audio[i % channels].push_back(samples[i]);
    return audio;
}

// A size for each block; 0 means a random one each time.
template <typename Work>
void forBlocks(std::size_t length, std::size_t size, Work work) {
    std::mt19937 random(7);
    for (std::size_t start = 0; start < length;) {
        const std::size_t wanted = size > 0 ? size : random() % 2000;
        const std::size_t count = std::min(wanted, length - start);
        work(start, count);
        start += count;
    }
}

std::vector<float*> rowsAt(AudioRows& audio, std::size_t start) {
    std::vector<float*> rows;
    for (std::vector<float>& row : audio)
        rows.push_back(row.data() + start);
    return rows;
}

AudioRows runBlocks(host::Blocks& blocks, AudioRows audio, std::size_t size, bool inRows) {
    std::vector<float> samples = interleaved(audio);
    const std::size_t channels = audio.size();
    forBlocks(audio[0].size(), size, [&](std::size_t start, std::size_t count) {
        const std::vector<float*> rows = rowsAt(audio, start);
        if (inRows)
            blocks.process(rows.data(), rows.data(), static_cast<int>(count));
        else
            blocks.process(std::span(samples).subspan(start * channels, count * channels));
    });
    return inRows ? audio : planar(samples, channels);
}

AudioRows runStream(host::Stream& stream, AudioRows audio, std::size_t size, bool inRows) {
    const std::size_t channels = audio.size();
    const std::vector<float> samples = interleaved(audio);
    std::vector<float> output(2 * samples.size());
    std::size_t done = 0; // per channel
    const auto pullSome = [&] {
        if (!inRows) {
            done +=
                static_cast<std::size_t>(stream.pull(std::span(output).subspan(done * channels)));
            return;
        }
        AudioRows some(channels, std::vector<float>(audio[0].size()));
        const std::vector<float*> rows = rowsAt(some, 0);
        const int count = stream.pull(rows.data(), static_cast<int>(audio[0].size()));
        const std::vector<float> ready =
            interleaved(slice(some, 0, static_cast<std::size_t>(count)));
        std::copy(ready.begin(), ready.end(), output.data() + done * channels);
        done += static_cast<std::size_t>(count);
    };
    forBlocks(audio[0].size(), size, [&](std::size_t start, std::size_t count) {
        if (inRows)
            stream.push(rowsAt(audio, start).data(), static_cast<int>(count));
        else
            stream.push(std::span(samples).subspan(start * channels, count * channels));
        pullSome();
    });
    stream.finish();
    pullSome();
    EXPECT_EQ(stream.available(), 0);
    output.resize(done * channels);
    return planar(output, channels);
}

AudioRows delayed(const AudioRows& audio, std::size_t samples) {
    AudioRows late = audio;
    for (std::vector<float>& row : late) {
        row.insert(row.begin(), samples, 0.0F);
        row.resize(audio[0].size());
    }
    return late;
}

SorvaneHostStatus statusOf(const ModelFile& model) {
    const std::vector<std::uint8_t> bytes = model.bytes();
    SorvaneHostModel* handle = nullptr;
    const SorvaneHostStatus status =
        sorvaneHostOpenModelFromMemory(bytes.data(), bytes.size(), &handle);
    sorvaneHostCloseModel(handle);
    return status;
}

} // namespace

TEST(Host, BlocksAndStreamsGiveTheSamplesOfAPlainHandle) {
    const host::Model model = noiseGate();
    for (const double rate : {16000.0, 44100.0, 96000.0})
        for (const int channels : {1, 2}) {
            const AudioRows input = noise(channels, 12000, 5);
            const AudioRows expected = fileRoad(input, rate);
            host::Blocks blocks(model, channels, rate);
            host::Stream stream(model, channels, rate);
            blocks.silenceNoise();
            stream.silenceNoise();
            const auto latency = static_cast<std::size_t>(blocks.latency());
            for (const std::size_t size : {1U, 480U, 512U, 5000U, 0U})
                for (const bool inRows : {false, true}) {
                    SCOPED_TRACE(std::to_string(rate) + " Hz, " + std::to_string(channels) +
                                 " channels, blocks of " + std::to_string(size));
                    EXPECT_TRUE(runBlocks(blocks, input, size, inRows) ==
                                delayed(expected, latency));
                    EXPECT_TRUE(runStream(stream, input, size, inRows) == expected);
                    blocks.reset();
                    stream.reset();
                }
        }
}

TEST(Host, MixesWithTheDryInputInTime) {
    const AudioRows input = noise(2, 12000, 6);
    const AudioRows wet = fileRoad(input, 48000.0);
    host::Blocks blocks(noiseGate(), 2, 48000.0);
    host::Stream stream(noiseGate(), 2, 48000.0);
    const auto latency = static_cast<std::size_t>(blocks.latency());
    for (const auto& [amount, inverted] :
         {std::pair{0.0F, false}, std::pair{0.25F, false}, std::pair{0.75F, true}}) {
        AudioRows expected = input;
        for (std::size_t c = 0; c < 2; ++c)
            for (std::size_t i = 0; i < input[c].size(); ++i)
                expected[c][i] = inverted ? -amount * wet[c][i] + amount * input[c][i]
                                          : amount * wet[c][i] + (1.0F - amount) * input[c][i];
        for (host::Processor* processor :
             {static_cast<host::Processor*>(&blocks), static_cast<host::Processor*>(&stream)}) {
            processor->reset();
            processor->silenceNoise();
            processor->setAmount(amount);
            processor->setInverted(inverted);
        }
        EXPECT_TRUE(runBlocks(blocks, input, 480, true) == delayed(expected, latency)) << amount;
        EXPECT_TRUE(runStream(stream, input, 480, false) == expected) << amount;
    }
    // A change of a running stream takes 20 ms, and no step of it is large.
    blocks.reset();
    blocks.setAmount(0.0F);
    blocks.setInverted(false);
    AudioRows constant(2, std::vector<float>(6000, 1.0F));
    runBlocks(blocks, constant, 480, true);
    blocks.setInverted(true); // with an amount of 0: silence
    const AudioRows output = runBlocks(blocks, constant, 100, true);
    for (std::size_t i = 1; i < output[0].size(); ++i)
        ASSERT_LE(std::abs(output[0][i] - output[0][i - 1]), 1.1F / 960.0F) << i;
    EXPECT_EQ(output[0][961], 0.0F);
}

TEST(Host, FindsModelsByPathNameAndBytes) {
    const fs::path folder = TempFile("").path();
    fs::create_directories(folder / "folder.model");
    fs::copy_file(SORVANE_MODELS_DIR "/noise-gate-48k.model", folder / "mine.model");
    std::ofstream(folder / "text.model") << "no model";
    const std::string separator(1, SORVANE_HOST_LIST_SEPARATOR);
    setModelPath("/nowhere" + separator + separator + folder.string());
    const host::Model byName("mine");
    EXPECT_STREQ(byName.info().name, "mine");
    EXPECT_EQ(byName.busNames(), (std::vector<std::string>{"Speech", "Noise"}));
    std::vector<std::string> names;
    for (const host::FoundModel& found : host::listModels())
        names.push_back(found.name);
    ASSERT_GE(names.size(), 2U); // with those beside the library
    EXPECT_EQ(names[0], "mine");
    EXPECT_EQ(std::count(names.begin(), names.end(), "noise-gate-48k"), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "text"), 0);
    EXPECT_EQ(host::listModels(folder.string().c_str()).size(), names.size()); // once each
    setModelPath("");

    const std::vector<std::uint8_t> bytes = noiseGate48k().bytes();
    const host::Model fromMemory(std::as_bytes(std::span(bytes)));
    const SorvaneHostModelInfo info = fromMemory.info();
    EXPECT_STREQ(info.name, "noise-gate-48k"); // its tag
    EXPECT_EQ(info.packedRows, 513);
    EXPECT_EQ(info.latencyFrames, 1);
    EXPECT_EQ(host::Blocks(fromMemory, 1, 48000.0).latency(), 1536);
    fs::remove_all(folder);

    for (const std::string path : {"there is none", "/nowhere/none.model", "/"}) {
        SorvaneHostModel* model = nullptr;
        EXPECT_EQ(sorvaneHostOpenModel(path.c_str(), &model), SORVANE_HOST_NOT_FOUND);
        EXPECT_NE(std::string(sorvaneHostLastError()).find("'" + path + "'"), std::string::npos);
    }
}

TEST(Host, ExplainsWhatIsWrongWithAModel) {
    const std::vector<std::uint8_t> whole = noiseGate48k().bytes();
    const struct {
        const char* field; // of the file, with this value
        std::int64_t value;
        const char* explanation; // a part of it
    } cases[] = {
        {"version", 0x1003, "the header, at byte 17: expected a version of 0x1004 or above"},
        {"inputPacking", 3, "expected the input's packing of 1, 2, 4, 5 or 6, not 3"},
        {"layerCount", 4, "layer 4, at byte"},
        {"mean.kind", 99, "layer 1, at byte 131: expected a known kind of layer, not 99"},
        {"level.weights.dims[0]", 1 << 20, "layer 2 (ConvLayer \"level\"), at byte"},
    };
    const auto explanationOf = [](const std::vector<std::uint8_t>& bytes) -> std::string {
        SorvaneHostModel* model = nullptr;
        if (sorvaneHostOpenModelFromMemory(bytes.data(), bytes.size(), &model) !=
            SORVANE_HOST_BAD_MODEL) {
            sorvaneHostCloseModel(model);
            return "";
        }
        return sorvaneHostLastError();
    };
    for (const auto& c : cases) {
        ModelFile changed = noiseGate48k();
        changed.overrides = {{c.field, c.value}};
        const std::string text = explanationOf(changed.bytes());
        EXPECT_NE(text.find(c.explanation), std::string::npos) << c.field << ": " << text;
    }
    for (std::size_t end = 0; end < whole.size(); ++end) {
        const std::string text = explanationOf({whole.data(), whole.data() + end});
        ASSERT_NE(text.find("but the file ends"), std::string::npos) << end << ": " << text;
    }
    // What the engine takes is taken, and of what it refuses the reason is found.
    std::map<std::string, int> reasons;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::vector<std::uint8_t> changed = whole;
        changed[i] ^= 0x80U;
        const TempFile file(changed);
        const bool loads = ModelHandle(sorvaneCreateModel(file.c_str())) != nullptr;
        const std::string text = explanationOf(changed);
        EXPECT_EQ(text.empty(), loads) << i << ": " << text;
        EXPECT_EQ(text.find("its records are whole"), std::string::npos) << i;
    }
    for (const TinyModel& model : tinyModels())
        EXPECT_EQ(statusOf(model.file), SORVANE_HOST_OK) << model.name;
}

TEST(Host, KnowsWhichModelSuitsARate) {
    const host::Model low(SORVANE_MODELS_DIR "/speech-16k.model");
    const host::Model high(SORVANE_MODELS_DIR "/speech-48k.model");
    const SorvaneHostModel* const models[] = {low.get(), high.get()};
    const struct {
        double rate;
        int best;
    } cases[] = {{8000.0, 0},  {16000.0, 0}, {32000.0, 0}, {44100.0, 1},
                 {48000.0, 1}, {96000.0, 1}, {192000.0, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(sorvaneHostBestModel(models, 2, c.rate), c.best) << c.rate;
    for (const double near : {44100.0, 48000.0})
        EXPECT_STREQ(high.rateFit(near).warning, "") << near;
    for (const double far : {16000.0, 24000.0, 32000.0, 96000.0})
        EXPECT_STRNE(high.rateFit(far).warning, "") << far;
    EXPECT_NEAR(high.rateFit(16000.0).stretch, 1.5, 1e-9);
}

TEST(Host, SteersBussesByNameAndNumber) {
    host::Stream stream(noiseGate(), 1, 48000.0);
    EXPECT_EQ(stream.findBus("Noise"), 1);
    EXPECT_EQ(stream.findBus("nOISE"), 1);
    EXPECT_EQ(stream.findBus("0"), 0);
    for (const char* none : {"", "2", "-1", "Speech ", "1e0"})
        EXPECT_THROW((void)stream.findBus(none), host::Error) << none;
    stream.setGain("noise", 0.25F);
    EXPECT_EQ(stream.gain(1), 0.25F);
    stream.setGainDecibels(1, 20.0F);
    EXPECT_FLOAT_EQ(stream.gain(1), 10.0F);
    stream.setGainDecibels(1, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(stream.gain(1), 0.0F);
    stream.setRemainder(-20.0F);
    EXPECT_FLOAT_EQ(stream.gain(1), 0.1F);
    stream.isolateBus("Noise");
    EXPECT_EQ(stream.gain(0), 0.0F);
    EXPECT_EQ(stream.gain(1), 1.0F);
    stream.silenceNoise();
    EXPECT_EQ(stream.gain(0), 1.0F);
    EXPECT_EQ(stream.gain(1), 0.0F);
}

TEST(Host, RefusesBadArguments) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr float nanGain = std::numeric_limits<float>::quiet_NaN();
    const host::Model model = noiseGate();
    host::Stream stream(model, 2, 48000.0);
    host::Blocks blocks(model, 2, 48000.0);
    SorvaneHostModel* newModel = nullptr;
    SorvaneHostProcessor* made = nullptr;
    SorvaneHostProcessor* const s = stream.get();
    SorvaneHostProcessor* const b = blocks.get();
    float samples[4] = {};
    const float* const inputs[2] = {samples, nullptr};
    float* const outputs[2] = {samples, samples};
    int count = 0;
    const SorvaneHostStatus statuses[] = {
        sorvaneHostOpenModel(nullptr, &newModel),
        sorvaneHostGetModelInfo(nullptr, nullptr, 0),
        sorvaneHostCreateStream(nullptr, 1, 48000.0, &made),
        sorvaneHostCreateStream(model.get(), 0, 48000.0, &made),
        sorvaneHostCreateBlocks(model.get(), 1, 0.0, &made),
        sorvaneHostCreateBlocks(model.get(), 1, nan, &made),
        sorvaneHostCreateBlocks(model.get(), 1, 1e9, &made),
        sorvaneHostCreateBlocks(model.get(), 1, 48000.0, nullptr),
        sorvaneHostPushInterleaved(nullptr, samples, 1),
        sorvaneHostPush(s, inputs, 1),
        sorvaneHostPush(b, outputs, 1),
        sorvaneHostPullInterleaved(s, samples, 1, nullptr),
        sorvaneHostPull(b, outputs, 1, &count),
        sorvaneHostFinish(b),
        sorvaneHostProcessInterleaved(s, samples, samples, 2),
        sorvaneHostReset(nullptr),
        sorvaneHostSetGain(s, 0, nanGain),
        sorvaneHostSetGainDecibels(s, 0, 41.0F),
        sorvaneHostSetSensitivity(s, 0, 101.0F),
        sorvaneHostSetRemainder(s, 1.0F),
        sorvaneHostSetAmount(s, nanGain),
        sorvaneHostFindBus(s, nullptr, &count),
    };
    for (std::size_t i = 0; i < std::size(statuses); ++i)
        EXPECT_EQ(statuses[i], SORVANE_HOST_BAD_ARGUMENT) << i;
    for (const int bus : {-1, 2, 16})
        EXPECT_EQ(sorvaneHostSetGain(s, bus, 1.0F), SORVANE_HOST_NO_BUS) << bus;
    EXPECT_EQ(stream.numFailures() + blocks.numFailures(), 0);
    sorvaneHostDeleteProcessor(nullptr);
    sorvaneHostCloseModel(nullptr);
    sorvaneHostDeleteModelList(nullptr);
    EXPECT_THROW(host::Stream(model, 0, 48000.0), host::Error);
}

TEST(Host, RunsNetworksWithTensors) {
    host::Model model = noiseGate();
    const std::vector<float> frame = noise(1, 513, 8)[0];
    EXPECT_TRUE(model.run(frame, {1, 513, 1}).values.empty()); // it looks a frame ahead
    const host::Model::Tensor mask = model.run(frame, {1, 513, 1});
    EXPECT_EQ(mask.shape, (std::array<int, 3>{1, 513, 1}));
    const ModelHandle plain = makeModel(noiseGate48k());
    const int shape[] = {1, 513, 1};
    std::vector<float> expected(513);
    for (int i = 0; i < 2; ++i)
        sorvaneAddTensor(plain.get(), frame.data(), 3, shape);
    ASSERT_TRUE(sorvaneGetTensor(plain.get(), expected.data()));
    EXPECT_EQ(mask.values, expected);

    // Its layer reads two channels.
    const ModelFile misfit{.layers = {conv("a", "input", constantTensor({1, 1, 2, 1}, 1.0F), {})},
                           .outputSource = "a"};
    host::Model broken(misfit.write().path());
    try {
        (void)broken.run(frame, {1, 513, 1});
        ADD_FAILURE();
    } catch (const host::Error& error) {
        EXPECT_EQ(error.status(), SORVANE_HOST_ENGINE);
        EXPECT_EQ(std::string(error.what()).rfind("IPP exception", 0), 0U) << error.what();
    }
    EXPECT_EQ(broken.run(std::vector<float>(8, 1.0F), {1, 4, 2}).values.size(), 4U);
}

TEST(Host, TellsItsVersionAndTheFormThatRuns) {
    EXPECT_EQ(sorvaneHostVersion(), SORVANE_HOST_VERSION);
    EXPECT_STREQ(sorvaneHostVersionText(), SORVANE_VERSION);
    const vector::Kernels* forms[8];
    const int count = vector::availableForms(forms, 8);
    EXPECT_STREQ(sorvaneHostVectorForm(), forms[count - 1]->name);
}

} // namespace sorvane::test
