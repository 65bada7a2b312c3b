#include "layers/queued_layer.h"

#include "layers/tensor_operations.h"

#include <cstdint>

namespace sorvane {

template <typename T>
BaseQueuedLayer<T>::BaseQueuedLayer(LayerMap<T>& layers, RecordReader& reader, int layerKind)
    : BaseLayer<T>(layerKind) {
    const int count = reader.scalar<std::int16_t>();
    for (int i = 0; i < count; ++i) {
        BaseLayer<T>& source = findLayer(layers, reader.string());
        source.addSuccessor(*this);
        inputQueues.push_back({{}, &source});
        firstQueues.emplace(&source, &inputQueues.back());
        sources.push_back(&source);
    }
    joining.resize(inputQueues.size());
    numEmptyQueues = inputQueues.size();
}

template <typename T>
bool BaseQueuedLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* source) {
    const auto queue = firstQueues.find(source);
    if (queue == firstQueues.end())
        return false;

    const TensorDims dims = dimsOf(input);
    requireElements(input, dims);
    for (int t = 0; t < dims.frames; ++t) {
        T* frame = stage.renew({1, dims.rows, dims.channels});
        copyElements(frameOf(input, t), frame, dims.frameSize());
        RecycledList<Tensor<T>>& frames = queue->second->frames;
        frames.push_back(stage, maxTensorsInList);
        if (frames.size() == 1)
            --numEmptyQueues;
    }
    return runReadyFrames();
}

template <typename T>
bool BaseQueuedLayer<T>::runReadyFrames() {
    bool reached = false;
    while (numEmptyQueues == 0) {
        auto frame = joining.begin();
        for (InputQueue& queue : inputQueues) {
            *frame++ = queue.frames.front();
            queue.frames.pop_front();
            if (queue.frames.empty())
                ++numEmptyQueues;
        }
        reached |= process(joining, sources);
    }
    return reached;
}

template <typename T>
void BaseQueuedLayer<T>::reset() {
    for (InputQueue& queue : inputQueues)
        queue.frames.clear();
    numEmptyQueues = inputQueues.size();
}

template class BaseQueuedLayer<float>;

} // namespace sorvane
