// The ways to run a processor, on an engine of the test's own that misbehaves.

#include "sorvane_engine.h"
#include "sorvane_host.hpp"
#include "util/noise_gate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <stdexcept>

namespace {

// What the next engine does wrong.
std::string nextKind;

// One channel. How many samples of `input` have come out after `input.size()` went in, and how far they
// are displaced, depends on its kind.
struct EngineDouble {
    std::string kind;
    std::vector<float> input;
    std::size_t pulled = 0;
    int pushesUntilFailure = -1;
    int resetsThatFail = 0;

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

EngineDouble* lastMade = nullptr;

EngineDouble& engineOf(void* handle) {
    return *static_cast<EngineDouble*>(handle);
}

} // namespace

void* sorvaneCreateModel(const char* /*modelFile*/) {
    return new int;
}
void sorvaneDeleteModel(void* handle) {
    delete static_cast<int*>(handle);
}
namespace sorvane {
SORVANE_API void sorvaneGetProcessorInfo(void* /*modelHandle*/, SorvaneModelInfo* info) {
    *info = {};
}
} // namespace sorvane
void sorvaneAddTensor(void* /*handle*/, const float* /*data*/, int /*numDims*/,
                      const int* /*shape*/) {}
bool sorvaneGetResultTensorShape(void* /*handle*/, int /*numDims*/, int* /*shape*/) {
    return false;
}
bool sorvaneGetTensor(void* /*handle*/, float* /*data*/) {
    return false;
}
void sorvaneResetModelState(void* /*handle*/) {}
float sorvaneGetParameterValue(void* /*handle*/, int /*id*/) {
    return 0.0F;
}
void* sorvaneCreateProcessor(const char* /*modelFile*/, int /*numChannels*/,
                             double /*sampleRate*/) {
    lastMade = new EngineDouble{nextKind, {}};
    return lastMade;
}
void sorvaneDeleteProcessor(void* handle) {
    delete static_cast<EngineDouble*>(handle);
}
void sorvaneAddAudioInterleaved(void* handle, const float* samples, int numSamples) {
    if (engineOf(handle).kind == "raising" || engineOf(handle).pushesUntilFailure-- == 0)
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
    EngineDouble& engine = engineOf(handle);
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
    if (engineOf(handle).resetsThatFail > 0) {
        --engineOf(handle).resetsThatFail;
        throw std::bad_alloc();
    }
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

namespace sorvane::test {

namespace {

host::Model anyModel() {
    return host::Model(noiseGate48k().write().path());
}

host::Blocks makeBlocks(const char* kind) {
    nextKind = kind;
    return {anyModel(), 1, 48000.0};
}

std::vector<float> countedFrom(int first, std::size_t length) {
    std::vector<float> audio(length);
    std::iota(audio.begin(), audio.end(), static_cast<float>(first));
    return audio;
}

std::vector<float> run(host::Blocks& blocks, std::size_t length, std::size_t block) {
    std::vector<float> audio = countedFrom(1, length);
    for (std::size_t start = 0; start < length; start += block)
        blocks.process(std::span(audio).subspan(start, std::min(block, length - start)));
    return audio;
}

// All that is ready.
std::vector<float> pullAll(host::Stream& stream) {
    std::vector<float> audio(static_cast<std::size_t>(stream.available()));
    EXPECT_EQ(stream.pull(audio), static_cast<int>(audio.size()));
    return audio;
}

} // namespace

TEST(HostDouble, BlocksMeasureWhatTheEngineHoldsBack) {
    const struct {
        const char* kind;
        int latency;
    } cases[] = {{"usual", 192},  // as reported
                 {"modest", 191}, // more than reported: 128 and all but one of 64
                 {"displaced", 197}};
    for (const auto& c : cases) {
        host::Blocks blocks = makeBlocks(c.kind);
        EXPECT_EQ(blocks.latency(), c.latency) << c.kind;
        for (const std::size_t block : {1U, 63U, 1000U, 3000U}) {
            blocks.reset();
            const std::vector<float> output = run(blocks, 3000, block);
            for (std::size_t i = 0; i < output.size(); ++i) {
                const int input = static_cast<int>(i) - c.latency; // counts up from 1
                ASSERT_EQ(output[i], input < 0 ? 0.0F : static_cast<float>(input + 1))
                    << c.kind << ", blocks of " << block << ", sample " << i;
            }
        }
    }
}

TEST(HostDouble, WhatNoBlocksCanBeMadeOfIsRefused) {
    for (const auto& [kind, status] :
         {std::pair{"silent", SORVANE_HOST_NO_OUTPUT}, std::pair{"halved", SORVANE_HOST_NO_OUTPUT},
          std::pair{"far away", SORVANE_HOST_NO_OUTPUT},
          std::pair{"raising", SORVANE_HOST_ENGINE}}) {
        nextKind = kind;
        SorvaneHostProcessor* blocks = nullptr;
        EXPECT_EQ(sorvaneHostCreateBlocks(anyModel().get(), 1, 48000.0, &blocks), status) << kind;
        EXPECT_STRNE(sorvaneHostLastError(), "");
    }
}

TEST(HostDouble, BlocksStayInStepWhenTheEngineIsLate) {
    host::Blocks blocks = makeBlocks("stalling");
    for (const std::size_t block : {10U, 700U}) {
        blocks.reset();
        const std::vector<float> output = run(blocks, 8000, block);
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

TEST(HostDouble, BlocksGoOnAfterAFailure) {
    for (const int resetsThatFail : {0, 3}) {
        host::Blocks blocks = makeBlocks("usual");
        EngineDouble& engine = *lastMade;
        std::vector<float> audio = countedFrom(1, 4000);
        engine.pushesUntilFailure = 10;
        engine.resetsThatFail = resetsThatFail;
        for (std::size_t start = 0; start < audio.size(); start += 100) {
            const SorvaneHostStatus status =
                blocks.tryProcess(std::span(audio).subspan(start, 100));
            const bool fails =
                start / 100 >= 10 && start / 100 <= 10 + static_cast<std::size_t>(resetsThatFail);
            EXPECT_EQ(status != SORVANE_HOST_OK, fails) << start;
        }
        EXPECT_EQ(blocks.numFailures(), 1 + resetsThatFail);
        EXPECT_STREQ(blocks.error(), resetsThatFail == 0 ? "raised" : "there is not enough memory");
        const std::size_t restart = 1100 + 100 * static_cast<std::size_t>(resetsThatFail);
        for (std::size_t i = 192; i < audio.size(); ++i) {
            const bool silent = i >= 1000 && i < restart + 192;
            ASSERT_EQ(audio[i], silent ? 0.0F : static_cast<float>(i - 192 + 1)) << i;
        }
        // The dry part knows of no failure.
        blocks.reset();
        blocks.setAmount(0.0F);
        engine.pushesUntilFailure = 10;
        audio = countedFrom(1, 4000);
        for (std::size_t start = 0; start < audio.size(); start += 100)
            blocks.tryProcess(std::span(audio).subspan(start, 100));
        for (std::size_t i = 192; i < audio.size(); ++i)
            ASSERT_EQ(audio[i], static_cast<float>(i - 192 + 1)) << i;
    }
}

TEST(HostDouble, StreamsKeepTheirLengthAfterAFailure) {
    nextKind = "usual";
    host::Stream stream(anyModel(), 1, 48000.0);
    EngineDouble& engine = *lastMade;
    const std::vector<float> input = countedFrom(1, 4000);
    engine.pushesUntilFailure = 10;
    std::vector<float> output;
    for (std::size_t start = 0; start < input.size(); start += 100) {
        const bool fails = start == 1000;
        engine.resetsThatFail = fails ? 1 : 0;
        EXPECT_EQ(sorvaneHostPushInterleaved(stream.get(), input.data() + start, 100),
                  fails ? SORVANE_HOST_ENGINE : SORVANE_HOST_OK);
        const std::vector<float> more = pullAll(stream);
        output.insert(output.end(), more.begin(), more.end());
    }
    stream.finish();
    stream.finish();
    const std::vector<float> rest = pullAll(stream);
    output.insert(output.end(), rest.begin(), rest.end());
    ASSERT_EQ(output.size(), input.size());
    const std::size_t lost = 1000 / 64 * 64 - 128; // the first that hadn't come out
    for (std::size_t i = 0; i < output.size(); ++i)
        ASSERT_EQ(output[i], i >= lost && i < 1100 ? 0.0F : input[i]) << i;

    stream.push(std::span(input).first(100)); // a new stream
    stream.finish();
    EXPECT_EQ(pullAll(stream), countedFrom(1, 100));
}

TEST(HostDouble, StreamsTellOfModelsThatGiveTooLittle) {
    nextKind = "silent";
    host::Stream stream(anyModel(), 1, 48000.0);
    const std::vector<float> input(1000, 1.0F);
    int pushed = 0;
    SorvaneHostStatus status = SORVANE_HOST_OK;
    for (; status == SORVANE_HOST_OK && pushed < 1000000; pushed += 1000)
        status = sorvaneHostPushInterleaved(stream.get(), input.data(), 1000);
    EXPECT_EQ(status, SORVANE_HOST_NO_OUTPUT);
    stream.reset();
    stream.push(input);
    EXPECT_EQ(sorvaneHostFinish(stream.get()), SORVANE_HOST_NO_OUTPUT);
    EXPECT_EQ(pullAll(stream), std::vector<float>(1000, 0.0F));
}

TEST(HostDouble, ReadsLongNames) {
    EXPECT_EQ(makeBlocks("usual").busNames(),
              (std::vector<std::string>{std::string(99, 'x'), std::string("xxx")}));
}

} // namespace sorvane::test
