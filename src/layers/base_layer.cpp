#include "layers/base_layer.h"

#include <algorithm>
#include <stdexcept>

namespace sorvane {

template <typename T>
BaseLayer<T>& findLayer(LayerMap<T>& layers, const std::string& name) {
    const auto found = layers.find(name);
    if (found == layers.end())
        throw std::out_of_range("invalid map<K, T> key");
    return *found->second;
}

template <typename T>
BaseLayer<T>::BaseLayer(int layerKind) : kind(layerKind) {}

template <typename T>
BaseLayer<T>::BaseLayer(LayerMap<T>& layers, RecordReader& reader, int layerKind)
    : kind(layerKind) {
    findLayer(layers, reader.string()).addSuccessor(*this);
}

template <typename T>
BaseLayer<T>::~BaseLayer() = default;

template <typename T>
bool BaseLayer<T>::forward(const Tensor<T>& /*input*/, BaseLayer* /*source*/) {
    return false;
}

template <typename T>
void BaseLayer<T>::reset() {}

template <typename T>
int BaseLayer<T>::latency(int scale) {
    return successorLatency(scale);
}

template <typename T>
void BaseLayer<T>::flush() {
    flushSuccessors();
}

template <typename T>
void BaseLayer<T>::prepare() {
    drainingSuccessors.clear();
    longestChain = 1;
    for (BaseLayer* successor : successors) {
        longestChain = std::max(longestChain, successor->longestChain + 1);
        if (successor->drains)
            drainingSuccessors.push_back(successor);
    }
    drains = drains || !drainingSuccessors.empty();
}

template <typename T>
bool BaseLayer<T>::forwardToSuccessors(const Tensor<T>& output) {
    bool reached = false;
    for (BaseLayer* successor : successors)
        reached |= successor->forward(output, this);
    return reached;
}

template <typename T>
void BaseLayer<T>::flushSuccessors() {
    for (BaseLayer* successor : drainingSuccessors)
        successor->flush();
}

template <typename T>
int BaseLayer<T>::successorLatency(int scale) {
    const auto known = knownLatencies.find(scale);
    if (known != knownLatencies.end())
        return known->second;
    int longest = 0;
    for (std::size_t i = 0; i < successors.size(); ++i) {
        const int latency = successors[i]->latency(scale);
        longest = i == 0 ? latency : std::max(longest, latency);
    }
    return knownLatencies[scale] = longest;
}

template class BaseLayer<float>;
template BaseLayer<float>& findLayer(LayerMap<float>&, const std::string&);

} // namespace sorvane
