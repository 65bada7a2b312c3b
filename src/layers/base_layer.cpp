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
int BaseLayer<T>::ownLatency(int /*scale*/) const {
    return 0;
}

template <typename T>
FrameRatio BaseLayer<T>::frameRatio() const {
    return {};
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
    for (BaseLayer* successor : successors)
        successor->flush();
}

/// Many paths may lead here. A flush that found nothing to release finds nothing again until a
/// frame begins or ends to wait somewhere, so that the paths are walked once rather than each for
/// itself.
template <typename T>
void BaseLayer<T>::flush() {
    const std::uint64_t changes = *burstChanges;
    if (idleSince == changes)
        return;
    tick({});
    flushSuccessors();
    if (*burstChanges == changes)
        idleSince = changes;
}

template class BaseLayer<float>;
template BaseLayer<float>& findLayer(LayerMap<float>&, const std::string&);

} // namespace sorvane
