#pragma once

#include "audio/spectral_processor.h"
#include "model/neural_model.h"
#include "support/recycled_list.h"
#include "support/thread_pool.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace sorvane {

/// The processor behind a handle: runs one or more networks on the spectra of the host's audio, and
/// mixes what they give by gains and sensitivities. Each network gives one mask per bus (or the
/// spectra of stems); the last bus is what the masks leave over.
///
/// The host's rate is met by scaling the transform sizes by a power of two, its channel count by
/// going through mono; nothing is resampled.
///
/// Use: loadModels() once, setFormats(), then process() and reset() at will.
/// Threads: parameters on any thread at any time; all else on one at a time. With two or more
/// models each runs on a pool thread of its own while process() waits.
///
/// What grows by design, until a reset: the input frames that wait, of a network that gives fewer
/// frames than it takes; the results that wait, of one that gives more. With two or more models
/// there are more queues than masks, so that audio goes in and never comes out, and both grow with
/// every frame: each has a name more than masks, and there is a queue for each name but the last. A
/// model of -1 masks has no names, and none of that.
class SorvaneProcessor : public BaseSpectralProcessor {
public:
    /// Busses that have parameters; those past them have a gain of 1 and a sensitivity of 0.
    static constexpr int maxParameterBusses = 16;

    SorvaneProcessor();

    /// Loads the models of files. False when one can't be loaded or they disagree in frame length,
    /// hop, rate or channels; the object is then fit for destruction alone. std::length_error for
    /// negative channels. With two or more models starts their threads; std::system_error when one
    /// can't start.
    bool loadModels(const std::vector<std::string>& paths);

    /// False unless the models have channels and a rate. The null-pointer error for windows that
    /// could not be had. Sizes that can't run raise when they would.
    bool setFormats(const AudioFormat& input, const AudioFormat& output) override;

    /// Samples at the host's rate.
    int getLatency(int blockSize) override;
    void reset() override;

    [[nodiscard]] const std::vector<NeuralModel<float>>& getModels() const { return models; }

    /// Only tests leave the remainder's bus out.
    [[nodiscard]] int getNumOfOutputBusses(bool includeResidual) const;

    /// Walks `index` steps round a circle of the names and one empty one at its end, backwards when
    /// negative. Valid for the life of the object.
    [[nodiscard]] const std::string& getOutputBusName(int index) const;

    /// Parameters of the first 16 busses, at any time on any thread.
    std::array<std::atomic<float>, maxParameterBusses> busSensitivities; // -100 to 100
    std::array<std::atomic<float>, maxParameterBusses> busGains;         // linear, from 0
    std::atomic<float> bandExtension{1.0F}; // when not 0, masks go on above the model's band

protected:
    void processSpectrum(const ComplexSignal32& frame,
                         RecycledList<ComplexSignal32>& results) override;

private:
    /// What earlier models of a load said, 0 as long as none said anything.
    struct FrameSizes {
        int frameLength = 0;
        int hop = 0;
    };

    bool loadModel(NeuralModel<float>& model, const std::string& path, FrameSizes& known);
    void configureSpectralSizes();
    [[nodiscard]] std::size_t numQueues() const;

    void runModels(const ComplexSignal32& modelFrame);
    [[nodiscard]] bool canMakeFrame() const;
    ComplexSignal32 makeFrame();
    void recycle(ComplexSignal32 signal);
    ComplexSignal32 mixSpectra(const ComplexSignal32& input);
    ComplexSignal32 mixMasks(const ComplexSignal32& input);
    void mixBusses(const ComplexSignal32& whole, bool areMasks, ComplexSignal32& mix);
    ComplexSignal32 adaptChannels(const ComplexSignal32& signal, int channels);
    [[nodiscard]] ComplexSignal32 frontMask(std::size_t bus);
    [[nodiscard]] ComplexSignal32 bentMask(std::size_t bus);
    void distributeResults(std::size_t firstBus, int numMasks,
                           const std::vector<ComplexSignal32>& results);
    [[nodiscard]] float gainOf(std::size_t bus) const;
    [[nodiscard]] float sensitivityOf(std::size_t bus) const;

    std::unique_ptr<ThreadPool> threadPool; // with two or more models
    std::vector<NeuralModel<float>> models;
    AudioFormat modelInputFormat;
    AudioFormat modelOutputFormat;
    std::vector<std::string> outputBusNames;     // model by model
    RecycledList<ComplexSignal32> pendingFrames; // input frames that wait for their results
    std::vector<RecycledList<ComplexSignal32>> busQueues; // results; one a bus but the last
};

} // namespace sorvane
