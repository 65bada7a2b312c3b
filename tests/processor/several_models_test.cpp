#include "support/thread_pool.h"
#include "support/vector/ipps.h"
#include "util/processor_handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <future>
#include <stdexcept>

namespace sorvane::test {

TEST(SeveralModels, TakeAudioAndNeverGiveAny) {
    ModelFile second;
    second.outputNames = {"Drums", "Rest"};
    second.fftLength = 1024;
    second.add(conv("a", "input", {{1, 1, 1, 1}, {1.0F}}, {}, {.delay = 3}));
    const ProcessorHandle handle =
        makeProcessor(std::vector<ModelFile>{{}, second, {}}, 2, 48000.0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(sorvaneGetNumOfOutputBusses(handle.get()), 6);
    char name[8];
    sorvaneGetOutputBusName(handle.get(), 2, name, sizeof name);
    EXPECT_STREQ(name, "Drums");
    SorvaneModelInfo info{};
    ::sorvaneGetProcessorInfo(handle.get(), &info);
    EXPECT_EQ(info.lengthOrLatency, (2 + 3) * 256); // the longest look-ahead counts
    for (int pass = 0; pass < 2; ++pass) {
        push(handle.get(), noise(2, 20000, 1));
        EXPECT_EQ(sorvaneGetNumOfPendingSamples(handle.get()), 0);
        sorvaneResetProcessorState(handle.get());
    }
    // A model that names no busses asks for no queue.
    const ModelFile nameless{.numMasks = -1, .outputNames = {}};
    const ProcessorHandle giving = makeProcessor(std::vector<ModelFile>{{}, nameless}, 2, 48000.0);
    EXPECT_FALSE(process(giving.get(), noise(2, 2000, 1))[0].empty());
}

TEST(SeveralModels, MustAgreeInAllButTheTransformLength) {
    const struct {
        const char* name;
        bool accepted;
        void (*change)(ModelFile&);
    } cases[] = {
        {"hop", false, [](ModelFile& m) { m.hop = 255; }},
        {"frame length", false, [](ModelFile& m) { m.frameLength = 511; }},
        {"transform length", true, [](ModelFile& m) { m.fftLength = 1024; }},
        {"sample rate", false, [](ModelFile& m) { m.sampleRate = 44100.0; }},
        {"input channels", false, [](ModelFile& m) { m.numInputChannels = 2; }},
        {"output channels", false, [](ModelFile& m) { m.numOutputChannels = 2; }},
    };
    for (const auto& entry : cases) {
        ModelFile other;
        entry.change(other);
        EXPECT_EQ(makeProcessor(std::vector<ModelFile>{{}, other}, 1, 48000.0) != nullptr,
                  entry.accepted)
            << entry.name;
    }
    // As long as no model has a frame, the next one sets the sizes.
    ModelFile without;
    without.frameLength = without.hop = 0;
    EXPECT_NE(makeProcessor(std::vector<ModelFile>{without, {}, {}}, 1, 48000.0), nullptr);
}

// Every job of a frame is waited for, and then the first model's failure is the one that is raised.
TEST(SeveralModels, TheFirstFailureInModelOrderIsRaised) {
    const ModelFile good;
    const ModelFile unknownPacking{.outputPacking = {.code = 5}};
    ModelFile tooSmall;
    tooSmall.layers = {conv("a", "input", {{1, 1, 1, 1}, {1.0F}}, {}, {.strideF = 2})};
    tooSmall.outputSource = "a";
    const std::string unknown = "Unknown packing format";
    const std::string size = "IPP exception: ippStsSizeErr: Incorrect value for data size";
    const struct {
        std::vector<ModelFile> models;
        std::string error;
    } cases[] = {{{unknownPacking, tooSmall, good}, unknown},
                 {{tooSmall, good, unknownPacking}, size},
                 {{good, unknownPacking}, unknown}};
    for (const auto& entry : cases) {
        const ProcessorHandle handle = makeProcessor(entry.models, 1, 48000.0);
        ASSERT_NE(handle, nullptr);
        for (int pass = 0; pass < 3; ++pass) {
            EXPECT_EQ(errorOf([&] { push(handle.get(), noise(1, 600, 1)); }), entry.error);
            sorvaneResetProcessorState(handle.get());
        }
    }
}

TEST(ThreadPool, StopsBeforeItsQueueIsEmpty) {
    std::promise<void> started;
    std::promise<void> go;
    std::atomic<int> finished = 0;
    std::future<int> running;
    std::vector<std::future<int>> waiting;
    std::thread releaser;
    {
        ThreadPool pool(1);
        running = pool.enqueue([&] {
            started.set_value();
            go.get_future().wait();
            return ++finished;
        });
        for (int i = 0; i < 3; ++i)
            waiting.push_back(pool.enqueue([&] { return ++finished; }));
        started.get_future().wait();
        // The pool's end waits for the job that runs; it is let go once that end has begun.
        releaser = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            go.set_value();
        });
    }
    releaser.join();
    EXPECT_EQ(running.get(), 1);
    EXPECT_EQ(finished, 1);
    for (std::future<int>& job : waiting)
        EXPECT_THROW(job.get(), std::future_error);
}

TEST(ThreadPool, WorkersRunInTheUsualStateOfFloatingPoint) {
    std::fesetround(FE_UPWARD);
    ippSetFlushToZero(1, nullptr);
    ippSetDenormAreZeros(1);
    ThreadPool pool(1);
    std::fesetenv(FE_DFL_ENV);
    volatile float denormal = 1e-40F;
    EXPECT_TRUE(
        pool.enqueue([&] { return fegetround() == FE_TONEAREST && denormal * 0.5F > 0.0F; }).get());
}

} // namespace sorvane::test
