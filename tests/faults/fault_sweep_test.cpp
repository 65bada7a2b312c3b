#include "faults/interposer.h"
#include "util/processor_handle.h"
#include "util/u_network.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <utility>

// Every allocation, thread and read that the engine asks for fails once, and from then on for ever:
// nothing leaks, what leaves is a standard exception, and the handle can be used after a reset and be
// deleted.
namespace sorvane::test {
namespace {

constexpr int blockSize = 150;
constexpr int numBlocks = 8;

/// The life of a handle. All memory is there before the faults begin: what fails is the engine's.
class Life {
public:
    virtual ~Life() = default;
    virtual void create() = 0; // leaves null, or raises, where it fails
    virtual void use() = 0;    // from the start of a stream
    virtual void reset() = 0;
    virtual void destroy() = 0;

    /// What use() gave.
    std::vector<float> results = std::vector<float>(1 << 14);
    void* handle = nullptr;
};

class ProcessorLife : public Life {
public:
    ProcessorLife(const ModelFile& model, int numModels, int channels) : m_channels(channels) {
        for (int i = 0; i < numModels; ++i) {
            m_files.push_back(model.write());
            m_paths.push_back(m_files.back().c_str());
        }
        m_input = noise(1, blockSize * numBlocks * channels, 4)[0];
    }

    void create() override {
        handle = sorvaneCreateStemSeparator(static_cast<int>(m_paths.size()), m_paths.data(),
                                            m_channels, 48000.0);
    }
    void use() override {
        float* out = results.data();
        for (int block = 0; block < numBlocks; ++block) {
            sorvaneSetParameterValue(handle, SORVANE_BUS_GAIN + 1, 0.25F);
            sorvaneSetParameterValue(handle, SORVANE_SENSITIVITY, block < 4 ? 0.0F : 50.0F);
            const float* in = m_input.data() + block * blockSize * m_channels;
            const std::array<const float*, 2> rows = {in, in + blockSize};
            if (block % 2 == 0)
                sorvaneAddAudio(handle, rows.data(), blockSize);
            else
                sorvaneAddAudioInterleaved(handle, in, blockSize);
            const int pending = sorvaneGetNumOfPendingSamples(handle);
            sorvaneGetAudioInterleaved(handle, out, pending);
            out += pending * m_channels;
            SorvaneModelInfo info;
            ::sorvaneGetProcessorInfo(handle, &info);
            char name[8];
            sorvaneGetOutputBusName(handle, 0, name, sizeof name);
        }
    }
    void reset() override { sorvaneResetProcessorState(handle); }
    void destroy() override { sorvaneDeleteProcessor(std::exchange(handle, nullptr)); }

private:
    int m_channels;
    std::vector<TempFile> m_files;
    std::vector<const char*> m_paths;
    std::vector<float> m_input;
};

class ModelLife : public Life {
public:
    explicit ModelLife(const ModelFile& model)
        : m_file(model.write()), m_shape{1, model.inputPacking.bins, 1} {
        m_input = noise(1, m_shape[1] * numBlocks, 4)[0];
    }

    void create() override { handle = sorvaneCreateModel(m_file.c_str()); }
    void use() override {
        float* out = results.data();
        for (int i = 0; i < numBlocks; ++i) {
            sorvaneAddTensor(handle, m_input.data() + i * m_shape[1], 3, m_shape.data());
            if (sorvaneGetTensor(handle, out))
                out += m_shape[1];
        }
    }
    void reset() override { sorvaneResetModelState(handle); }
    void destroy() override { sorvaneDeleteModel(std::exchange(handle, nullptr)); }

private:
    TempFile m_file;
    std::array<int, 3> m_shape;
    std::vector<float> m_input;
};

/// Runs a life with a fault. Returns whether the fault happened; "" or what went wrong.
std::pair<bool, std::string> liveWith(Life& life, Fault fault, int first, bool forever,
                                      const std::vector<float>& expected) {
    const std::int64_t before = liveBlocks();
    std::string failure;
    bool happened = false;
    {
        const FaultPlan plan(fault, first, forever);
        try {
            life.create();
            if (life.handle) {
                life.use();
                if (life.results != expected)
                    failure = "other values without an exception,";
                life.reset();
            }
        } catch (const std::exception&) {
        }
        if (forever)
            life.destroy();
        happened = plan.happened();
    }
    if (life.handle) {
        life.reset();
        life.use();
        if (life.results != expected)
            failure += " another stream after a reset";
    }
    life.destroy();
    std::fill(life.results.begin(), life.results.end(), 0.0F);
    if (liveBlocks() != before)
        failure += " leak of " + std::to_string(liveBlocks() - before) + " blocks";
    return {happened, failure};
}

TEST(FaultSweep, AllocationsThreadsAndReads) {
    ProcessorLife stereo(everyKindNetwork(2), 1, 2);
    ProcessorLife several(everyKindNetwork(), 2, 1);
    ModelLife tensors(everyKindNetwork());
    const struct {
        const char* name;
        Life& life;
        Fault fault;
    } cases[] = {
        {"stereo, memory", stereo, Fault::allocation},
        {"two models, memory", several, Fault::allocation},
        {"tensors, memory", tensors, Fault::allocation},
        {"two models, threads", several, Fault::thread},
        {"stereo, reads", stereo, Fault::read},
        {"tensors, reads", tensors, Fault::read},
    };
    for (const auto& entry : cases) {
        entry.life.create();
        entry.life.use();
        entry.life.destroy();
        const std::vector<float> expected =
            std::exchange(entry.life.results, std::vector<float>(entry.life.results.size()));
        for (const bool forever : {false, true}) {
            int first = 1;
            for (bool more = true; more && !HasFailure(); ++first) {
                const auto [happened, failure] =
                    liveWith(entry.life, entry.fault, first, forever, expected);
                EXPECT_EQ(failure, "") << entry.name << ", fault " << first << ' ' << forever;
                more = happened;
            }
            EXPECT_GT(first, 2) << entry.name;
        }
    }
}

} // namespace

} // namespace sorvane::test
