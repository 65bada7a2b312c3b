#include "model/neural_model.h"

#include "model/graph_pass.h"
#include "model/layer_factory.h"

#include <cstdint>
#include <exception>

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
    latencyFrames = inputLayer->latency(1);
    outputLayer = std::make_shared<OutputLayer<T>>(layers, reader);
    keep("output", outputLayer);
    prepareGraph(allLayers);
    return true;
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
