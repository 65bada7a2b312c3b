#include "processor/sorvane_processor.h"
#include "util/processor_handle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace sorvane::test {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const std::string sizeError = "IPP exception: ippStsSizeErr: Incorrect value for data size";
constexpr double infinity = std::numeric_limits<double>::infinity();

struct Sizes {
    int fftLength = 16;
    int frameLength = 16;
    int hop = 8;
};

enum class Outcome {
    null,     // of the creator
    raises,   // at creation
    lateNull, // the null-pointer error at the first full frame
    lateSize, // the size error at the first full frame
    silent,   // takes audio and gives none: not a frame was full
    passes,   // audio goes through as it is
    runs,     // whole hops, finite
};

struct SetupCase {
    const char* name;
    Outcome outcome;
    double rate = 48000.0;
    int numChannels = 1;
    Sizes sizes{};
};

Outcome outcomeOf(const SetupCase& entry) {
    ModelFile file{.fftLength = entry.sizes.fftLength,
                   .frameLength = entry.sizes.frameLength,
                   .hop = entry.sizes.hop};
    file.inputPacking.bins = file.outputPacking.bins = 9;
    ProcessorHandle processor;
    try {
        processor = makeProcessor(file, entry.numChannels, entry.rate);
    } catch (const std::exception&) {
        return Outcome::raises;
    }
    if (!processor)
        return Outcome::null;
    const AudioRows audio = noise(std::max(entry.numChannels, 1), 333, 1);
    AudioRows result;
    SorvaneModelInfo info{};
    ::sorvaneGetProcessorInfo(processor.get(), &info);
    EXPECT_EQ(info.frameLength, entry.sizes.frameLength);
    const std::string error = errorOf([&] {
        result = process(processor.get(), audio, 100);
        sorvaneResetProcessorState(processor.get());
        const AudioRows again = process(processor.get(), audio, 37);
        // A longer hop than the frame drops what is there of the next one, which depends on the block.
        EXPECT_TRUE(again == result || entry.sizes.hop > entry.sizes.frameLength);
    });
    if (!error.empty())
        return error == sizeError ? Outcome::lateSize : Outcome::lateNull;
    for (const float sample : result[0])
        EXPECT_TRUE(std::isfinite(sample));
    if (result[0].empty())
        return Outcome::silent;
    return result == audio ? Outcome::passes : Outcome::runs;
}

} // namespace

TEST(Setup, EveryRateCountAndSizeHasAnOutcome) {
    using enum Outcome;
    const SetupCase cases[] = {
        {"as the model", runs},
        {"half the rate", runs, 24000.0},
        {"rate of 0", lateNull, 0.0},
        {"negative rate", lateNull, -48000.0},
        {"no rate", lateNull, nan},
        {"infinite rate", raises, infinity},
        {"1 Hz", passes, 1.0},
        {"a rate that scales the hop to 0", lateSize, 48000.0 / 16},
        {"a rate that scales the hop to 1", runs, 48000.0 / 8},
        {"1e9 Hz", silent, 1e9},
        {"1e300 Hz", raises, 1e300},
        {"1e-300 Hz", passes, 1e-300},
        {"no channels", silent, 48000.0, 0},
        {"no channels, 1e300 Hz", silent, 1e300, 0},
        {"-1 channels", raises, 48000.0, -1},
        {"channels without a layout", runs, 48000.0, 11},
        {"windows of 4 GB", raises, 48000.0, 1000000, {1024, 1024, 512}},
        {"transform of 48", runs, 48000.0, 1, {48, 16, 8}},
        {"transform of 17", runs, 48000.0, 2, {17, 16, 8}},
        {"transform of 0", lateSize, 48000.0, 1, {0, 16, 8}},
        {"transform shorter than the frame", lateSize, 48000.0, 1, {15, 16, 8}},
        {"negative transform", lateSize, 48000.0, 1, {-16, 16, 8}},
        {"hop of 0", lateSize, 48000.0, 1, {16, 16, 0}},
        {"negative hop", lateSize, 48000.0, 1, {16, 16, -8}},
        {"hop of 1", runs, 48000.0, 1, {16, 16, 1}},
        {"hop above half the frame", runs, 48000.0, 2, {16, 16, 11}},
        {"hop above the frame", runs, 48000.0, 2, {16, 16, 40}},
        {"largest hop", runs, 48000.0, 1, {16, 16, 32767}},
        {"frame of 0", passes, 48000.0, 2, {16, 0, 8}},
        {"frame and hop of 0", passes, 48000.0, 2, {0, 0, 0}},
        {"negative frame", passes, 48000.0, 2, {16, -16, 8}},
        {"frame of 1", runs, 48000.0, 1, {1, 1, 1}},
        {"largest sizes", silent, 48000.0, 1, {32767, 32767, 16384}},
    };
    for (const SetupCase& entry : cases) {
        SCOPED_TRACE(entry.name);
        EXPECT_EQ(static_cast<int>(outcomeOf(entry)), static_cast<int>(entry.outcome));
    }
    // Sizes past any int are missed at their first use.
    for (const Sizes sizes : {Sizes{32767, 1, 1}, Sizes{16, 1, 32767}}) {
        const ModelFile file{.fftLength = sizes.fftLength, .frameLength = 1, .hop = sizes.hop};
        const ProcessorHandle processor = makeProcessor(file, 1, 48000.0 * 131072);
        EXPECT_EQ(errorOf([&] { process(processor.get(), noise(1, 262144, 3), 131072); }),
                  "IPP exception: ippStsNullPtrErr: Null pointer error");
    }
    for (const double rate : {0.0, -1.0, nan})
        EXPECT_EQ(makeProcessor(ModelFile{.sampleRate = rate}, 1, 48000.0), nullptr) << rate;
    const AudioRows audio = noise(1, 600, 2);
    for (const double rate : {1e300, infinity}) // to which the host's is as 0
        EXPECT_EQ(process(makeProcessor(ModelFile{.sampleRate = rate}, 1, 1e-300).get(), audio),
                  audio);
    EXPECT_EQ(makeProcessor(ModelFile{.numInputChannels = 0}, 1, 48000.0), nullptr);
    EXPECT_EQ(makeProcessor(ModelFile{.numOutputChannels = 0}, 1, 48000.0), nullptr);
    for (const ModelFile& file :
         {ModelFile{.numInputChannels = -1}, ModelFile{.numOutputChannels = -128}})
        EXPECT_EQ(errorOf([&] { makeProcessor(file, 1, 48000.0); }), "vector too long");
}

TEST(Setup, ModelsThatAreLoadedAnewBringTheirSizes) {
    const TempFile small = ModelFile{.fftLength = 16, .frameLength = 16, .hop = 8}.write();
    const TempFile large = ModelFile{.fftLength = 64, .frameLength = 64, .hop = 32}.write();
    const TempFile still = ModelFile{.fftLength = 64, .frameLength = 64, .hop = 0}.write();
    const AudioFormat format = defaultFormat(1, 48000.0);
    SorvaneProcessor processor;
    ASSERT_TRUE(processor.loadModels({small.path()}) && processor.setFormats(format, format));
    EXPECT_EQ(processor.getLatency(1), 16);
    EXPECT_TRUE(processor.loadModels({large.path(), large.path()}));
    EXPECT_EQ(processor.getLatency(1), 64);
    EXPECT_TRUE(processor.loadModels({still.path()}));
    EXPECT_EQ(processor.getLatency(1), 0);
}

TEST(Setup, AMillionChannelsAreCountedAndAdded) {
    const ModelFile file{.fftLength = 16, .frameLength = 16, .hop = 8};
    const ProcessorHandle processor = makeProcessor(file, 1000000, 48000.0);
    ASSERT_NE(processor, nullptr);
    const float sample = 1.0F;
    const std::vector<const float*> rows(1000000, &sample);
    sorvaneAddAudio(processor.get(), rows.data(), 1);
    EXPECT_EQ(sorvaneGetNumOfPendingSamples(processor.get()), 0);
}

} // namespace sorvane::test
