#include "layers/dense.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"
#include "support/vector/ipps_compound.h"

namespace sorvane {

template <typename T>
DenseLayer<T>::DenseLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, denseKind) {
    weights = readTensor(reader);
    bias = readTensor(reader);
}

template <typename T>
void DenseLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1)
        return;
    requireSize(elementCount({input.rows, input.rows, input.channels}), weights.numAvailable());
    if (bias.numAvailable() > 0)
        requireSize(input.frameSize(), bias.numAvailable());
}

template <typename T>
bool DenseLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    output.setShape(input.shape);
    T* out = output.writableElements();
    const std::int64_t frameSize = dims.frameSize();
    const T* frame = input.elements();
    for (int t = 0; frameSize > 0 && t < dims.frames; ++t, frame += frameSize, out += frameSize) {
        check(ippsDense_32f(frame, weights.elements(), out, dims.rows, dims.channels));
        if (bias.numAvailable() > 0)
            check(ippsAdd_32f(out, bias.elements(), out, vectorLength(frameSize)));
    }
    return this->forwardToSuccessors(output);
}

template class DenseLayer<float>;

} // namespace sorvane
