#pragma once

#include "audio/signal_pool.h"
#include "layers/terminal_layers.h"
#include "support/streams.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace sorvane {

/// One network and the header values of its file. A default object passes tensors through; load()
/// makes it the network of a file, once.
///
/// Use: push a tensor into inputLayer, collect() from outputLayer; runModel() does both for a
/// spectrum. Errors: those of the layers; after one, reset() restores the stream. Threads: one at a
/// time. Copies share the layers, and so are one network.
template <typename T>
class NeuralModel {
public:
    NeuralModel();
    virtual ~NeuralModel() = default;
    NeuralModel(const NeuralModel&) = default;
    NeuralModel(NeuralModel&&) noexcept = default;
    NeuralModel& operator=(const NeuralModel&) = default;
    NeuralModel& operator=(NeuralModel&&) noexcept = default;

    /// Reads a whole model file from its beginning. False when it is no valid model; the object is
    /// then fit for destruction alone.
    bool load(std::shared_ptr<BinaryInputStream> stream);

    /// Reads the header, up to the count of layers, and sets the reader's version. False when it is
    /// no header of a model; exceptions where the file ends early.
    bool readHeader(RecordReader& reader);

    /// Forgets the stream: every layer's history, and what waits to be collected. Weights stay.
    void reset();

    // The exchange of frames, processor/frame_exchange.cpp.

    /// Runs the network on one spectrum of numInputChannels rows. Returns a signal of as many bins
    /// for each frame that the network gave, each of as many rows as masks and their channels; none
    /// while it holds back. Valid until the next call. std::runtime_error "Unknown packing format"
    /// for packings that can't be run.
    const std::vector<ComplexSignal32>& runModel(const ComplexSignal32& frame);

    /// Packs spectra into a tensor [1, packedRows, columns], an empty one for none, that is valid
    /// until the next call.
    const Tensor<T>& packFrames(const std::list<ComplexSignal32>& frames);

    /// Turns a tensor of the network into a signal of `bins` bins for each of its frames, valid
    /// until the next call. Their blocks are used again once nobody else has them.
    const std::vector<ComplexSignal32>& unpackTensor(const Tensor<T>& tensor, int bins);

    LayerMap<T> layers;
    std::shared_ptr<InputLayer<T>> inputLayer;
    std::shared_ptr<OutputLayer<T>> outputLayer;

    std::string modelTag; // identity; nothing in the processing reads it
    int modelId = -1;
    std::string modelNote;

    double sampleRate = 0.0; // Hz
    int numInputChannels = 0;
    int inputPacking = 0; // codes at frame_exchange.cpp
    int numOutputChannels = 0;
    int outputPacking = 0;
    int numMasks = 0;
    std::vector<std::string> outputNames; // of the busses; the last is what the masks leave over
    int outputMode = 0;                   // 0: masks; otherwise spectra of stems
    int fftLength = 0;                    // samples at sampleRate, as the two below
    int frameLength = 0;
    int hop = 0;
    int packedBins = 0; // bins that the packing covers, from bin 0
    int lowBins = 0;    // bins below this one are packed at full detail
    int bandGroup = 1;  // bins a group above lowBins, in packing 6
    int latencyFrames = 0;
    bool extendBand = true; // fill bins above packedBins with the level reached there
    int historyLength = 1;
    std::list<ComplexSignal32> frameHistory; // the last historyLength frames, oldest first
    int packedRows = 0;                      // rows of a packed frame

private:
    bool readNetwork(RecordReader& reader);
    bool readInputPacking(RecordReader& reader);
    static bool skipOutputPacking(RecordReader& reader, int packing);
    void silenceHistory();
    void keep(const std::string& name, std::shared_ptr<BaseLayer<T>> layer);

    // Every layer in order of construction, those included whose name a later record took over:
    // they still stand among the successors of their source.
    std::vector<std::shared_ptr<BaseLayer<T>>> allLayers;
    OutputTensor<T> packed;              // of the frame in progress
    Tensor<T> collected;                 // what came out for it
    SignalPool<Signal32> scratch;        // columns of packed frames, and magnitudes
    SignalPool<ComplexSignal32> results; // what unpackTensor() gave
    std::vector<ComplexSignal32> unpacked;
};

extern template class NeuralModel<float>;

} // namespace sorvane
