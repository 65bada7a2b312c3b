#include "layers/terminal_layers.h"

#include "support/bounded_list.h"
#include "support/vector_rows.h"

#include <limits>

namespace sorvane {

template <typename T>
InputLayer<T>::InputLayer() : BaseLayer<T>(inputKind) {}

template <typename T>
bool InputLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    return this->forwardToSuccessors(input);
}

template <typename T>
OutputLayer<T>::OutputLayer() : BaseLayer<T>(outputKind) {}

template <typename T>
OutputLayer<T>::OutputLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, outputKind) {}

template <typename T>
bool OutputLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    appendBounded(waiting, input, maxTensorsInList);
    return true;
}

template <typename T>
void OutputLayer<T>::reset() {
    waiting.clear();
}

template <typename T>
Tensor<T> OutputLayer<T>::collect() {
    if (waiting.empty())
        return {};
    std::list<Tensor<T>> tensors;
    tensors.swap(waiting);

    const TensorDims first = dimsOf(tensors.front());
    if (tensors.size() == 1 && tensors.front().shape.size() == 3 &&
        tensors.front().numAvailable() == elementCount(tensors.front().shape))
        return std::move(tensors.front());
    std::int64_t numFrames = 0;
    std::int64_t numElements = 0;
    for (const Tensor<T>& tensor : tensors) {
        numFrames += dimsOf(tensor).frames;
        numElements += tensor.numAvailable();
    }
    requireSize(numFrames, std::numeric_limits<int>::max());
    Tensor<T> result({static_cast<int>(numFrames), first.rows, first.channels});
    requireSize(numElements, elementCount(result.shape));

    T* destination = result.writableElements();
    for (const Tensor<T>& tensor : tensors) {
        copyElements(tensor.elements(), destination, tensor.numAvailable());
        destination += tensor.numAvailable();
    }
    // Later tensors of fewer positions or channels than the first leave a rest.
    zeroElements(destination, elementCount(result.shape) - numElements);
    return result;
}

template class InputLayer<float>;
template class OutputLayer<float>;

} // namespace sorvane
