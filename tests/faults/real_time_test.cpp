#include "faults/interposer.h"
#include "util/noise_gate.h"
#include "util/processor_handle.h"
#include "util/u_network.h"

#include <gtest/gtest.h>

#include <algorithm>

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
        {"noise gate, 2 channels", noiseGate48k(), 2, 48000.0, 30.0F},
        {"mono model on 3 channels at half rate", noiseGate48k(), 3, 24000.0, -30.0F},
        {"stems", stems(), 1, 48000.0, 0.0F},
        {"U network at twice its rate, 2 channels", uNetwork(), 2, 32000.0, 50.0F},
        {"every kind, 2 channels", everyKindNetwork(2), 1, 48000.0, 50.0F},
    };
    const std::vector<int> blockSizes[] = {{7}, {4096}, {1, 333, 0, 64, 2048, 17, 511}};
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
            const std::string name =
                entry.name + std::string(", blocks of ") + std::to_string(sizes[0]);
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
    ProcessorHandle handle = makeProcessor(std::vector<ModelFile>(3, noiseGate48k()), 1, 48000.0);
    const int hop = noiseGate48k().hop;
    Stream stream(std::move(handle), 1, {hop});
    stream.run(std::int64_t{hop} * 100);
    const SystemCalls calls = count(stream, hop);
    // A job costs 5 allocations, its vector of results one more; a mask that waits 3, an input frame
    // that waits 3, the futures of a frame 1; and lists grow.
    EXPECT_LE(calls.allocations, numFrames * (4 + 9 * 3) + 100);
    EXPECT_LE(calls.locks, numFrames * 2 * 3 + 3);
    EXPECT_LE(calls.waits, numFrames * 3 + 3);
    EXPECT_EQ(calls.fileCalls + calls.threads, 0);
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
        EXPECT_EQ(calls.allocations + calls.locks + calls.waits + calls.fileCalls, 0);
    }
}

} // namespace sorvane::test
