#include "layers/dense.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"
#include "layers/weight_panels.h"
#include "support/vector/ipps_compound.h"

namespace sorvane {

template <typename T>
DenseLayer<T>::DenseLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, denseKind) {
    weights = readTensor(reader);
    bias = readTensor(reader);
    // With one channel the sums run over the output positions, with more over the channels.
    if (weights.shape.size() == 3 && weights.shape[0] == weights.shape[1] &&
        weights.shape[2] == 1) {
        matrixSize = weights.shape[0];
        packColumns(weights, 1, matrixSize, matrixSize, panelWidth);
    }
}

template <typename T>
void DenseLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1)
        return;
    requireTensor(elementCount({input.rows, input.rows, input.channels}), weights);
    if (bias.numAvailable() > 0)
        requireSize(input.frameSize(), bias.numAvailable());
}

template <typename T>
bool DenseLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    if (dims.frames > 0 && (dims.rows != matrixSize || dims.channels != 1))
        unpackColumns(weights, matrixSize, matrixSize, panelWidth);
    T* out = output.renew(input.shape);
    const std::int64_t frameSize = dims.frameSize();
    const T* frame = input.elements();
    for (int t = 0; frameSize > 0 && t < dims.frames; ++t, frame += frameSize, out += frameSize) {
        multiply(frame, dims, out);
        if (bias.numAvailable() > 0)
            check(ippsAdd_32f(out, bias.elements(), out, vectorLength(frameSize)));
    }
    return this->forwardToSuccessors(output);
}

template <typename T>
void DenseLayer<T>::multiply(const T* frame, const TensorDims& dims, T* out) const {
    if (panelWidth == 0) {
        check(ippsDense_32f(frame, weights.elements(), out, dims.rows, dims.channels));
        return;
    }
    const IppsConvSize_32f size = {
        .inRows = 1,
        .inStep = dims.rows,
        .inChannels = dims.rows,
        .outRows = 1,
        .outStep = dims.rows,
        .outChannels = dims.rows,
        .numFrames = 1,
        .kernelRows = 1,
        .stride = 1,
        .firstRow = 0,
    };
    check(ippsConv_32f(&frame, weights.elements(), panelWidth, nullptr, 0, out, &size));
}

template class DenseLayer<float>;

} // namespace sorvane
