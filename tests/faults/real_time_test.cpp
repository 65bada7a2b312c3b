#include "faults/interposer.h"
#include "util/noise_gate.h"
#include "util/processor_handle.h"
#include "util/u_network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

// What adds and gets of a steady stream ask of the system.
namespace sorvane::test {
namespace {

/// A stream through one handle, in blocks whose sizes repeat, pulled in halves of what is pending.
/// Its own buffers are made before anything is counted.
class Stream {
public:
    Stream(ProcessorHandle handle, int channels, std::vector<int> blockSizes)
        : m_handle(std::move(handle)), m_sizes(std::move(blockSizes)) {
        const int longest = *std::max_element(m_sizes.begin(), m_sizes.end());
        m_input = noise(channels, longest, 3);
        m_output = AudioRows(m_input.size(), std::vector<float>(1 << 16));
        m_interleaved.assign(m_input.size() << 16, 0.25F);
        for (std::size_t c = 0; c < m_input.size(); ++c) {
            m_inputRows.push_back(m_input[c].data());
            m_outputRows.push_back(m_output[c].data());
        }
    }

    /// Every third block and every second get are interleaved.
    void run(std::int64_t numSamples) {
        while (numSamples > 0) {
            const int size = m_sizes[m_block % m_sizes.size()];
            if (++m_block % 3 == 0)
                sorvaneAddAudioInterleaved(m_handle.get(), m_interleaved.data(), size);
            else
                sorvaneAddAudio(m_handle.get(), m_inputRows.data(), size);
            numSamples -= size;
            const int half = (sorvaneGetNumOfPendingSamples(m_handle.get()) + 1) / 2;
            const bool done =
                m_block % 2 == 0
                    ? sorvaneGetAudio(m_handle.get(), m_outputRows.data(), half)
                    : sorvaneGetAudioInterleaved(m_handle.get(), m_interleaved.data(), half);
            ASSERT_TRUE(done);
        }
    }

private:
    ProcessorHandle m_handle;
    std::vector<int> m_sizes;
    AudioRows m_input;
    AudioRows m_output;
    std::vector<const float*> m_inputRows;
    std::vector<float*> m_outputRows;
    std::vector<float> m_interleaved;
    std::size_t m_block = 0;
};

constexpr int numFrames = 1000;

SystemCalls count(Stream& stream, int hop) {
    startCounting();
    stream.run(std::int64_t{numFrames} * hop);
    return stopCounting();
}

void print(const std::string& name, const SystemCalls& calls) {
    std::cout << name << " over " << numFrames << " frames: " << calls.allocations
              << " allocations, " << calls.releases << " releases, " << calls.locks << " locks, "
              << calls.waits << " waits, " << calls.fileCalls << " file calls\n";
}

ModelFile lookAhead(int frames) {
    const FileTensor half{{1, 1, 1, 1}, {0.5F}};
    return {.layers = {conv("a", "input", half, {}, {.delay = frames}),
                       arithmetic("sum", {"input", "a"}, 2)},
            .outputSource = "sum"};
}

ModelFile stems() {
    return {.inputPacking = {.code = 4, .bins = 257},
            .outputMode = 1,
            .numMasks = 2,
            .outputNames = {"Voice", "Drums", "Rest"},
            .outputPacking = {.code = 4, .bins = 257},
            .layers = {conv("a", "input", constantTensor({2, 3, 2, 4}, 0.1F), {})},
            .outputSource = "a"};
}

} // namespace

TEST(RealTime, ASteadyStreamOfOneModelAsksNothingOfTheSystem) {
    const struct {
        const char* name;
        ModelFile model;
        int channels;
        double rate;
        float sensitivity;
    } cases[] = {
        {"pass-through", ModelFile(), 1, 48000.0, 0.0F},
        {"noise gate, 2 channels", noiseGate48k(), 2, 48000.0, 30.0F},
        {"mono model on 3 channels at half rate", lookAhead(0), 3, 24000.0, -30.0F},
        {"look-ahead of 100 frames", lookAhead(100), 2, 48000.0, 0.0F},
        {"stems", stems(), 1, 48000.0, 0.0F},
        {"U network", uNetwork(), 1, 16000.0, 0.0F},
        {"U network at twice its rate, 2 channels", uNetwork(), 2, 32000.0, 50.0F},
        {"every kind", everyKindNetwork(), 1, 48000.0, 0.0F},
        {"every kind, 2 channels", everyKindNetwork(2), 1, 48000.0, 50.0F},
    };
    const std::vector<int> blockSizes[] = {{1}, {7}, {480}, {4096}, {1, 333, 0, 64, 2048, 17, 511}};
    for (const auto& entry : cases)
        for (const std::vector<int>& sizes : blockSizes) {
            ProcessorHandle handle = makeProcessor(entry.model, entry.channels, entry.rate);
            ASSERT_NE(handle, nullptr) << entry.name;
            sorvaneSetParameterValue(handle.get(), SORVANE_BUS_SENSITIVITY, entry.sensitivity);
            sorvaneSetParameterValue(handle.get(), SORVANE_BUS_SENSITIVITY + 1, entry.sensitivity);
            Stream stream(std::move(handle), entry.channels, sizes);
            const int hop = static_cast<int>(entry.model.hop * entry.rate / entry.model.sampleRate);
            stream.run(std::int64_t{hop} * 2000);
            const SystemCalls calls = count(stream, hop);
            const std::string name = entry.name + std::string(", blocks of ") +
                                     (sizes.size() > 1 ? "odd sizes" : std::to_string(sizes[0]));
            if (sizes.size() > 1 || calls.allocations > 0)
                print(name, calls);
            EXPECT_EQ(calls.allocations + calls.releases, 0) << name;
            EXPECT_EQ(calls.locks + calls.waits + calls.fileCalls + calls.threads, 0) << name;
        }
}

TEST(RealTime, ABacklogOfShortBlocksLeavesNoTrace) {
    ProcessorHandle handle = makeProcessor(ModelFile(), 1, 48000.0);
    std::vector<float> samples(40000 * 32);
    for (int i = 0; i < 40000; ++i)
        sorvaneAddAudioInterleaved(handle.get(), samples.data(), i % 2 * 64);
    const int pending = sorvaneGetNumOfPendingSamples(handle.get());
    ASSERT_TRUE(sorvaneGetAudioInterleaved(handle.get(), samples.data(), pending));
    const int hop = ModelFile().hop;
    Stream stream(std::move(handle), 1, {1024});
    stream.run(std::int64_t{hop} * 100);
    const SystemCalls calls = count(stream, hop);
    EXPECT_EQ(calls.allocations + calls.releases, 0);
}

// A job for each model and frame, and what waits for ever: an input frame and a mask of each model.
TEST(RealTime, SeveralModelsHandOverAndWait) {
    for (const int models : {2, 3}) {
        ProcessorHandle handle = makeProcessor(
            std::vector<ModelFile>(static_cast<std::size_t>(models), noiseGate48k()), 1, 48000.0);
        ASSERT_NE(handle, nullptr);
        const int hop = noiseGate48k().hop;
        Stream stream(std::move(handle), 1, {hop});
        stream.run(std::int64_t{hop} * 100);
        const SystemCalls calls = count(stream, hop);
        print(std::to_string(models) + " models", calls);
        // A job costs 5 allocations, its vector of results one more; a mask that waits 3, an input
        // frame that waits 3, and the futures of a frame 1.
        EXPECT_GT(calls.allocations, 0);
        EXPECT_LE(calls.allocations, numFrames * (4 + 9 * models) + 100); // lists that grow
        // A worker may end the job before the count within it.
        EXPECT_LE(calls.locks, numFrames * 2 * models + models);
        EXPECT_LE(calls.waits, numFrames * models + models);
        EXPECT_EQ(calls.fileCalls + calls.threads, 0);
    }
}

TEST(RealTime, TensorsOfASteadyStreamAskNothingOfTheSystem) {
    for (const ModelFile& model : {ModelFile(), uNetwork(), everyKindNetwork()}) {
        const ModelHandle handle = makeModel(model);
        const int shape[] = {1, model.inputPacking.bins, 1};
        const AudioRows frame = noise(1, shape[1], 5);
        std::vector<float> result(4096);
        for (int i = 0; i < 100 + numFrames; ++i) {
            if (i == 100)
                startCounting();
            sorvaneAddTensor(handle.get(), frame[0].data(), 3, shape);
            sorvaneGetTensor(handle.get(), result.data());
        }
        const SystemCalls calls = stopCounting();
        print("tensors", calls);
        EXPECT_EQ(calls.allocations + calls.locks + calls.waits + calls.fileCalls, 0);
    }
}

} // namespace sorvane::test
