#include "layers/transposed_convolution.h"

#include "layers/kernel_reach.h"
#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"
#include "layers/weight_panels.h"
#include "support/vector/ipps_compound.h"

#include <algorithm>
#include <limits>

namespace sorvane {

namespace {

constexpr int firstVersionWithOutputChannels = 0x1008;

} // namespace

template <typename T>
TransposedConvLayer<T>::TransposedConvLayer(LayerMap<T>& layers, RecordReader& reader)
    : BurstLayer<T>(layers, reader, transposedConvKind) {
    weights = readTensor(reader);
    bias = readTensor(reader);
    // Weights without data add nothing, whatever number of taps they claim.
    kernelT = weights.numAvailable() > 0 ? dimension(weights, 0) : 0;
    kernelF = dimension(weights, 1);
    groupChannels = dimension(weights, 2);
    inChannels = dimension(weights, 3);
    outputChannels = reader.version >= firstVersionWithOutputChannels
                         ? static_cast<int>(reader.scalar<std::int16_t>())
                         : groupChannels;
    strideT = reader.scalar<std::int8_t>();
    strideF = reader.scalar<std::int8_t>();
    dilationT = reader.scalar<std::int8_t>();
    unusedParameter = reader.scalar<std::int8_t>();
    delay = reader.scalar<std::int8_t>();
    const std::int64_t kernels = elementCount({kernelT, kernelF});
    const bool packed = isDepthwise()
                            ? packRows(weights, kernels, inChannels, panelWidth)
                            : packColumns(weights, kernels, groupChannels, inChannels, panelWidth);
    if (packed && kernelT > 0)
        tapFrames.resize(static_cast<std::size_t>(kernelT));
}

template <typename T>
void TransposedConvLayer<T>::verify(const TensorDims& input, std::int64_t available) const {
    if (input.frames < 1)
        return;
    requireShape(strideT > 0 && strideF >= 0 && outputChannels >= 0);
    requireShape(kernelT >= 0 && kernelF >= 0 && inChannels >= 0 && groupChannels >= 0);
    requireSize(elementCount({input.frames, input.rows, inChannels}), available);

    const std::int64_t outRows = std::int64_t{strideF} * input.rows;
    requireSize(outRows, std::numeric_limits<int>::max());
    const bool built = accumulator.numAvailable() > 0;
    const std::int64_t ringFrame = built ? std::int64_t{accumulator.shape[1]} * accumulator.shape[2]
                                         : outRows * outputChannels;
    requireSize(outRows * outputChannels, ringFrame);
    if (outRows < 1)
        return;
    requireSize(bias.numAvailable() > 0 ? outputChannels : 0, bias.numAvailable());
    if (kernelT < 1)
        return;

    const KernelReach reach(kernelF, strideF, input.rows, outRows);
    const std::int64_t kernelSize = std::int64_t{groupChannels} * inChannels;
    requireSize((std::int64_t{kernelT - 1} * kernelF + reach.lastTap + 1) * kernelSize,
                weights.numAvailable());
    requireSize(reach.lastRow * outputChannels + (isDepthwise() ? inChannels : groupChannels),
                ringFrame);
}

template <typename T>
bool TransposedConvLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims =
        guard(input, [&](const TensorDims& shape) { verify(shape, input.numAvailable()); });
    inputFrame.setShape({1, dims.rows, inChannels});
    const std::int64_t frameSize = std::int64_t{dims.rows} * inChannels;
    bool reached = false;
    for (int t = 0; t < dims.frames; ++t) {
        copyElements(input.elements() + t * frameSize, inputFrame.writableElements(), frameSize);
        reached |= accumulate();
    }
    return reached;
}

template <typename T>
bool TransposedConvLayer<T>::accumulate() {
    const int outRows = strideF * inputFrame.shape[1];
    if (accumulator.numAvailable() == 0)
        makeZeros(accumulator, {ringLength(), outRows, outputChannels});
    if (outRows > 0 && kernelT > 0)
        addProducts(outRows);
    emitFrames(outRows);
    clearLeftFrames();
    frameCount += strideT;
    return this->release();
}

/// Adds what the input frame makes to the frames of the ring.
template <typename T>
void TransposedConvLayer<T>::addProducts(int outRows) {
    for (int k = 0; k < kernelT; ++k)
        tapFrames[static_cast<std::size_t>(k)] =
            writableFrameOf(accumulator, (frameCount + k) % ringLength());
    const int rows = inputFrame.shape[1];
    const IppsConvSize_32f size = {
        .inRows = rows,
        .inStep = inChannels,
        .inChannels = inChannels,
        .outRows = outRows,
        .outStep = outputChannels,
        .outChannels = groupChannels,
        .numFrames = kernelT,
        .kernelRows = kernelF,
        .stride = strideF,
        .firstRow = static_cast<int>(KernelReach(kernelF, strideF, rows, outRows).firstRow),
    };
    const auto operation = isDepthwise() ? ippsConvTransposedDepthwise_32f : ippsConvTransposed_32f;
    check(
        operation(inputFrame.elements(), weights.elements(), panelWidth, tapFrames.data(), &size));
}

/// Lets the frames wait that no later input touches, those before the delay left out.
template <typename T>
void TransposedConvLayer<T>::emitFrames(int outRows) {
    const auto count =
        static_cast<int>(std::clamp<std::int64_t>(frameCount - delay + strideT, 0, strideT));
    if (count == 0)
        return;
    for (int m = 0; m < count; ++m) {
        T* out = emitFrame.renew({1, outRows, outputChannels});
        const T* frame = frameOf(accumulator, (frameCount + strideT - count + m) % ringLength());
        if (bias.numAvailable() > 0 && outputChannels > 0 && outRows > 0)
            check(ippsAddRow_32f(frame, bias.elements(), out, outRows, outputChannels));
        else
            copyElements(frame, out, std::int64_t{outRows} * outputChannels);
        this->hold(emitFrame);
    }
}

template <typename T>
void TransposedConvLayer<T>::clearLeftFrames() {
    const std::int64_t frameSize = std::int64_t{accumulator.shape[1]} * accumulator.shape[2];
    if (kernelT <= strideT) {
        zeroElements(accumulator.writableElements(), accumulator.numAvailable());
        return;
    }
    for (int m = 0; m < strideT; ++m)
        zeroElements(writableFrameOf(accumulator, (frameCount + kernelT + m) % ringLength()),
                     frameSize);
}

template <typename T>
void TransposedConvLayer<T>::reset() {
    BurstLayer<T>::reset();
    zeroElements(accumulator.writableElements(), accumulator.numAvailable());
    frameCount = 0;
}

template <typename T>
int TransposedConvLayer<T>::ownLatency(int scale) const {
    return wrappingMultiply(delay, scale);
}

template class TransposedConvLayer<float>;

} // namespace sorvane
