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
void BaseLayer<T>::prepare(std::shared_ptr<std::uint64_t> changes) {
    burstChanges = std::move(changes);
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
void BaseLayer<T>::spreadBurst() {
    const std::int64_t taken = std::max(scaleFactor, 1);
    const std::int64_t given = (burst + taken - 1) / taken * std::max(scaleDivisor, 1);
    if (given > maxBurst)
        throw std::length_error("too many frames for one");
    for (BaseLayer* successor : successors)
        successor->burst = std::max(successor->burst, given);
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
        successor->flushUnlessIdle();
}

/// Many paths may lead here. A flush that found nothing to release finds nothing again until a
/// frame begins or ends to wait somewhere, so that the paths are walked once rather than each for
/// itself.
template <typename T>
void BaseLayer<T>::flushUnlessIdle() {
    const std::uint64_t changes = *burstChanges;
    if (idleSince == changes)
        return;
    flush();
    if (*burstChanges == changes)
        idleSince = changes;
}

template <typename T>
int BaseLayer<T>::successorScale(int scale) const {
    return static_cast<int>(std::int64_t{wrappingMultiply(scale, scaleFactor)} / scaleDivisor);
}

template <typename T>
void BaseLayer<T>::spreadScales() {
    if (!latencies.empty() && scaleDivisor == 0)
        throw std::domain_error("stride of 0");
    for (const auto& [scale, latency] : latencies)
        for (BaseLayer* successor : successors)
            successor->addScale(successorScale(scale));
}

template <typename T>
void BaseLayer<T>::computeLatencies() {
    for (auto& [scale, result] : latencies)
        result = latency(scale);
}

template <typename T>
int BaseLayer<T>::successorLatency(int scale) {
    int longest = 0;
    bool first = true;
    for (BaseLayer* successor : successors) {
        const int latency = successor->latencies.at(successorScale(scale));
        longest = first ? latency : std::max(longest, latency);
        first = false;
    }
    return longest;
}

template class BaseLayer<float>;
template BaseLayer<float>& findLayer(LayerMap<float>&, const std::string&);

} // namespace sorvane
