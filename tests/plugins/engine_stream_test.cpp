// The stream around a processor handle, on an engine of the test's own that misbehaves.

#include "common/engine_stream.h"

#include "sorvane_engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <stdexcept>

namespace {

// One channel. How many samples of `input` have come out after `input.size()` went in, and how far they
// are displaced, depends on the name of the "model".
struct FakeEngine {
    std::string kind;
    std::vector<float> input;
    std::size_t pulled = 0;

    [[nodiscard]] std::size_t given() const {
        const std::size_t pushed = input.size();
        const std::size_t hops = pushed / 64 * 64;
        if (kind == "silent")
            return 0;
        if (kind == "halved")
            return pushed / 2;
        if (kind == "stalling" && pushed > 3000 && pushed < 4000)
            return 3000 / 64 * 64 - 128;
        return hops > 128 ? hops - 128 : 0;
    }
    [[nodiscard]] std::size_t displacement() const { return kind == "displaced" ? 5 : 0; }
};

FakeEngine& engineOf(void* handle) {
    return *static_cast<FakeEngine*>(handle);
}

} // namespace

void* sorvaneCreateProcessor(const char* modelFile, int /*numChannels*/, double /*sampleRate*/) {
    return new FakeEngine{modelFile, {}};
}
void sorvaneDeleteProcessor(void* handle) {
    delete static_cast<FakeEngine*>(handle);
}
void sorvaneAddAudioInterleaved(void* handle, const float* samples, int numSamples) {
    if (engineOf(handle).kind == "raising")
        throw std::runtime_error("raised");
    engineOf(handle).input.insert(engineOf(handle).input.end(), samples, samples + numSamples);
}
void sorvaneAddAudio(void* handle, const float* const* channels, int numSamples) {
    sorvaneAddAudioInterleaved(handle, channels[0], numSamples);
}
int sorvaneGetNumOfPendingSamples(void* handle) {
    return static_cast<int>(engineOf(handle).given() - engineOf(handle).pulled);
}
bool sorvaneGetAudioInterleaved(void* handle, float* samples, int numSamples) {
    FakeEngine& engine = engineOf(handle);
    if (numSamples > sorvaneGetNumOfPendingSamples(handle))
        return false;
    for (int i = 0; i < numSamples; ++i, ++engine.pulled)
        samples[i] = engine.pulled < engine.displacement()
                         ? 0.0F
                         : engine.input[engine.pulled - engine.displacement()];
    return true;
}
bool sorvaneGetAudio(void* handle, float* const* channels, int numSamples) {
    return sorvaneGetAudioInterleaved(handle, channels[0], numSamples);
}
void sorvaneResetProcessorState(void* handle) {
    engineOf(handle).input.clear();
    engineOf(handle).pulled = 0;
}
void sorvaneSetParameterValue(void* /*handle*/, int /*id*/, float /*value*/) {}
int sorvaneGetNumOfOutputBusses(void* /*handle*/) {
    return 2;
}
void sorvaneGetOutputBusName(void* /*handle*/, int bus, char* buffer, unsigned int bufferSize) {
    // One name fills any buffer of less than a hundred bytes.
    const std::string name(bus == 0 ? 99 : 3, 'x');
    std::memset(buffer, 0, bufferSize);
    std::memcpy(buffer, name.data(), std::min<std::size_t>(name.size(), bufferSize));
}
void sorvaneGetProcessorInfo(void* handle, SorvaneModelInfo* info) {
    *info = {};
    info->lengthOrLatency = engineOf(handle).kind == "modest"     ? 100
                            : engineOf(handle).kind == "far away" ? 1 << 21
                                                                  : 192;
}

namespace sorvane::plugins {

namespace {

std::vector<float> run(EngineStream& stream, std::size_t length, std::size_t block) {
    std::vector<float> audio(length);
    std::iota(audio.begin(), audio.end(), 1.0F);
    for (std::size_t start = 0; start < length; start += block) {
        float* const row = audio.data() + start;
        stream.exchange(&row, &row, static_cast<int>(std::min(block, length - start)));
    }
    return audio;
}

} // namespace

TEST(EngineStream, MeasuresWhatTheEngineHoldsBack) {
    const struct {
        const char* kind;
        int latency;
    } cases[] = {{"usual", 192},  // as reported
                 {"modest", 191}, // more than reported: 128 and all but one of 64
                 {"displaced", 197}};
    for (const auto& c : cases) {
        EngineStream stream(c.kind, 1, 48000.0);
        EXPECT_EQ(stream.latency(), c.latency) << c.kind;
        for (const std::size_t block : {1U, 63U, 1000U}) {
            stream.reset();
            const std::vector<float> output = run(stream, 3000, block);
            for (std::size_t i = 0; i < output.size(); ++i) {
                const int input = static_cast<int>(i) - c.latency; // counts up from 1
                ASSERT_EQ(output[i], input < 0 ? 0.0F : static_cast<float>(input + 1))
                    << c.kind << ", blocks of " << block << ", sample " << i;
            }
        }
    }
}

TEST(EngineStream, RefusesWhatNoStreamCanBeMadeOf) {
    for (const char* kind : {"silent", "halved", "raising", "far away"})
        EXPECT_THROW(EngineStream(kind, 1, 48000.0), std::runtime_error) << kind;
}

TEST(EngineStream, StaysInStepWhenTheEngineIsLate) {
    EngineStream stream("stalling", 1, 48000.0);
    for (const std::size_t block : {10U, 700U}) {
        stream.reset();
        const std::vector<float> output = run(stream, 8000, block);
        std::size_t silent = 0;
        for (std::size_t i = 192; i < output.size(); ++i) {
            if (output[i] == 0.0F)
                ++silent;
            else
                ASSERT_EQ(output[i], static_cast<float>(i - 192 + 1)) << block;
        }
        EXPECT_GT(silent, 300U);
        EXPECT_LT(silent, 1400U);
        EXPECT_EQ(output.back(), 8000.0F - 192.0F);
    }
}

TEST(EngineStream, ReadsLongNames) {
    const EngineStream stream("usual", 1, 48000.0);
    EXPECT_EQ(stream.busNames(),
              (std::vector<std::string>{std::string(99, 'x'), std::string("xxx")}));
}

} // namespace sorvane::plugins
