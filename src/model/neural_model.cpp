#include "model/neural_model.h"

#include "model/layer_factory.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>

namespace sorvane {

template <typename T>
NeuralModel<T>::NeuralModel()
    : inputLayer(std::make_shared<InputLayer<T>>()),
      outputLayer(std::make_shared<OutputLayer<T>>()) {
    inputLayer->addSuccessor(*outputLayer);
    keep("input", inputLayer);
    keep("output", outputLayer);
}

template <typename T>
void NeuralModel<T>::keep(const std::string& name, std::shared_ptr<BaseLayer<T>> layer) {
    allLayers.push_back(layer);
    layers[name] = std::move(layer);
}

// By value: the stream closes with the last reference, at the end of the load.
template <typename T>
bool NeuralModel<T>::load(
    std::shared_ptr<BinaryInputStream> stream) { // NOLINT(performance-unnecessary-value-param)
    try {
        RecordReader reader(*stream);
        outputMode = 0;
        layers.clear();
        allLayers.clear();
        inputLayer = std::make_shared<InputLayer<T>>();
        keep("input", inputLayer);
        if (!readHeader(reader))
            return false;
        silenceHistory();
        return readNetwork(reader);
    } catch (const std::exception&) {
        return false;
    }
}

template <typename T>
bool NeuralModel<T>::readNetwork(RecordReader& reader) {
    const auto layerCount = reader.scalar<std::int32_t>();
    for (std::int32_t i = 0; i < layerCount; ++i) {
        const std::string name = reader.string();
        const int kind = reader.scalar<std::int16_t>();
        std::shared_ptr<BaseLayer<T>> layer = makeLayer<T>(kind, layers, reader);
        if (!layer)
            return false;
        keep(name, std::move(layer));
    }
    // Without the output: beside negative delays its latency of 0 would count as the longest.
    prepareGraph();
    computeLatency();
    outputLayer = std::make_shared<OutputLayer<T>>(layers, reader);
    keep("output", outputLayer);
    prepareGraph();
    return true;
}

// A layer's successors stand later in the file: the file's order finds their sources told, and the
// reverse order finds them prepared.
template <typename T>
void NeuralModel<T>::prepareGraph() {
    for (const auto& layer : allLayers)
        layer->spreadBurst();
    for (auto layer = allLayers.rbegin(); layer != allLayers.rend(); ++layer) {
        (*layer)->prepare(burstChanges);
        if ((*layer)->depth() > maxChainLength)
            throw std::length_error("chain of layers too long");
    }
}

// Without recursion, and once for each layer and scale: down the file's order every layer learns
// the scales at which it is asked, and up again it answers from its successors' answers.
template <typename T>
void NeuralModel<T>::computeLatency() {
    std::size_t numScales = 0;
    inputLayer->addScale(1);
    for (const auto& layer : allLayers) {
        numScales += layer->numExtraScales();
        if (numScales > maxLatencyScales)
            throw std::length_error("too many paths of different strides");
        layer->spreadScales();
    }
    for (auto layer = allLayers.rbegin(); layer != allLayers.rend(); ++layer)
        (*layer)->computeLatencies();
    latencyFrames = inputLayer->latency(1);
}

template <typename T>
void NeuralModel<T>::reset() {
    for (const auto& layer : allLayers)
        layer->reset();
    silenceHistory();
}

template <typename T>
void NeuralModel<T>::silenceHistory() {
    frameHistory.clear();
    if (historyLength < 1)
        return;
    ComplexSignal32 silence(numInputChannels, packedBins);
    silence.fill(0.0F);
    for (int i = 0; i < historyLength; ++i)
        frameHistory.push_back(silence);
}

template class NeuralModel<float>;

} // namespace sorvane
