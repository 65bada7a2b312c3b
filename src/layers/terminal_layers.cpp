#include "layers/terminal_layers.h"

#include "support/vector_rows.h"

#include <limits>

namespace sorvane {

namespace {

/// Empties a list at the end of a scope, also when an exception ends it.
template <typename List>
struct ListClearer {
    List& list;
    ~ListClearer() { list.clear(); }
};

} // namespace

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
    waiting.push_back(input, maxTensorsInList);
    return true;
}

template <typename T>
void OutputLayer<T>::reset() {
    waiting.clear();
}

template <typename T>
Tensor<T> OutputLayer<T>::collect() {
    Tensor<T> result;
    collect(result);
    return result;
}

template <typename T>
void OutputLayer<T>::collect(Tensor<T>& result) {
    if (waiting.empty()) {
        const Tensor<T> none;
        result = none;
        return;
    }
    const ListClearer<RecycledList<Tensor<T>>> clearer{waiting};
    const Tensor<T>& first = waiting.front();
    dimsOf(first);
    if (waiting.size() == 1 && first.shape.size() == 3 &&
        first.numAvailable() == elementCount(first.shape)) {
        result = first;
        return;
    }
    join();
    result = joined;
}

template <typename T>
void OutputLayer<T>::join() {
    const TensorDims first = dimsOf(waiting.front());
    std::int64_t numFrames = 0;
    std::int64_t numElements = 0;
    for (const Tensor<T>& tensor : waiting) {
        const TensorDims dims = dimsOf(tensor);
        requireElements(tensor, dims);
        numFrames += dims.frames;
        numElements += tensor.numAvailable();
    }
    requireSize(numFrames, std::numeric_limits<int>::max());
    T* destination = joined.renew({static_cast<int>(numFrames), first.rows, first.channels});
    const std::int64_t room = elementCount(joined.shape);
    requireSize(numElements, room);
    if (room > 0)
        requireMemory(destination);
    for (const Tensor<T>& tensor : waiting) {
        copyElements(tensor.elements(), destination, tensor.numAvailable());
        destination += tensor.numAvailable();
    }
    // Later tensors of fewer positions or channels than the first leave a rest.
    zeroElements(destination, room - numElements);
}

template class InputLayer<float>;
template class OutputLayer<float>;

} // namespace sorvane
