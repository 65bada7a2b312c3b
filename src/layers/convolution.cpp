#include "layers/convolution.h"

#include "layers/kernel_reach.h"
#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"
#include "layers/weight_panels.h"
#include "support/vector/ipps_compound.h"

#include <limits>

namespace sorvane {

template <typename T>
ConvLayer<T>::ConvLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, convKind) {
    weights = readTensor(reader);
    bias = readTensor(reader);
    strideT = reader.scalar<std::int8_t>();
    strideF = reader.scalar<std::int8_t>();
    dilationT = reader.scalar<std::int8_t>();
    unusedParameter = reader.scalar<std::int8_t>();
    delay = reader.scalar<std::int8_t>();
    kernelT = dimension(weights, 0);
    kernelF = dimension(weights, 1);
    inChannels = dimension(weights, 2);
    outChannels = dimension(weights, 3);
    // Weights without data add nothing, whatever number of taps they claim.
    if (weights.numAvailable() == 0)
        kernelT = 0;
    else
        span = (std::int64_t{kernelT} - 1) * dilationT + 1;
    const std::int64_t numProducts = elementCount({kernelT, kernelF, inChannels});
    if (packRows(weights, numProducts, outChannels, panelWidth) && kernelT > 0)
        tapFrames.resize(static_cast<std::size_t>(kernelT));
}

template <typename T>
bool ConvLayer<T>::isDepthwise(const TensorDims& input) const {
    return inChannels == 1 && input.channels != 1;
}

template <typename T>
int ConvLayer<T>::ringWidth(const TensorDims& input) const {
    return isDepthwise(input) ? outChannels : input.channels;
}

template <typename T>
void ConvLayer<T>::verify(const TensorDims& input, std::int64_t available) const {
    requireShape(input.channels > 0);
    requireShape(span >= 1 && span <= std::numeric_limits<int>::max());
    if (input.frames < 1)
        return;
    requireShape(strideF != 0);
    requireShape(kernelT >= 0 && kernelF >= 0 && inChannels >= 0 && outChannels >= 0);

    const std::int64_t width = ringWidth(input);
    const std::int64_t repeat = width / input.channels;
    const bool built = history.numAvailable() > 0;
    const std::int64_t ringRows = built ? history.shape[1] : input.rows;
    const std::int64_t ringChannels = built ? history.shape[2] : width;

    const std::int64_t stored = input.rows * (repeat < 2 ? width : input.channels * repeat);
    requireSize(stored, ringRows * ringChannels);
    const std::int64_t read = repeat < 2 ? input.frames * stored : input.frameSize();
    requireSize(input.frames > 0 ? read : 0, available);

    const std::int64_t outRows = ringRows / strideF;
    if (outRows < 1)
        return;
    requireSize(bias.numAvailable() > 0 ? outChannels : 0, bias.numAvailable());

    if (kernelT < 1)
        return;
    const KernelReach reach(kernelF, strideF, outRows, ringRows);
    const std::int64_t lastWeights =
        (std::int64_t{kernelT - 1} * kernelF + reach.lastTap) * inChannels * outChannels;
    if (isDepthwise(input)) {
        requireSize(lastWeights + ringChannels, weights.numAvailable());
        requireSize((outRows - 1) * outChannels + ringChannels, outRows * outChannels);
    } else {
        requireSize(lastWeights + std::int64_t{inChannels} * outChannels, weights.numAvailable());
        requireSize(reach.lastRow * ringChannels + inChannels, ringRows * ringChannels);
    }
}

template <typename T>
bool ConvLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims =
        guard(input, [&](const TensorDims& shape) { verify(shape, input.numAvailable()); });
    // Frames before the delay need no stride.
    requireShape(strideT != 0 || frameCount + dims.frames <= delay);
    if (history.numAvailable() == 0)
        makeZeros(history, {static_cast<int>(span), dims.rows, ringWidth(dims)});

    bool reached = false;
    for (int t = 0; t < dims.frames; ++t) {
        storeFrame(input, dims, t);
        reached |= produce(isDepthwise(dims));
        ++frameCount;
    }
    return reached;
}

template <typename T>
void ConvLayer<T>::storeFrame(const Tensor<T>& input, const TensorDims& dims, int frame) {
    const int width = ringWidth(dims);
    const int repeat = width / dims.channels;
    T* ring = writableFrameOf(history, frameCount % span);
    if (repeat < 2) {
        const std::int64_t row = std::int64_t{dims.rows} * width;
        copyElements(input.elements() + frame * row, ring, row);
        return;
    }
    const T* value = input.elements();
    for (std::int64_t i = 0; i < dims.frameSize(); ++i, ring += repeat)
        check(ippsSet_32f(value[i], ring, repeat));
}

template <typename T>
bool ConvLayer<T>::produce(bool depthwise) {
    if (frameCount < delay || (frameCount - delay) % strideT != 0) {
        this->flushSuccessors();
        return false;
    }
    const int outRows = history.shape[1] / strideF;
    T* out = output.renew({1, outRows, outChannels});
    if (outRows > 0 && outChannels > 0)
        convolve(out, outRows, depthwise);
    return this->forwardToSuccessors(output);
}

template <typename T>
void ConvLayer<T>::convolve(T* out, int outRows, bool depthwise) {
    for (int k = 0; k < kernelT; ++k)
        tapFrames[static_cast<std::size_t>(k)] =
            frameOf(history, (frameCount + 1 + std::int64_t{dilationT} * k) % span);
    const int rows = history.shape[1];
    const int width = history.shape[2];
    const IppsConvSize_32f size = {
        .inRows = rows,
        .inStep = width,
        .inChannels = depthwise ? width : inChannels,
        .outRows = outRows,
        .outStep = outChannels,
        .outChannels = outChannels,
        .numFrames = kernelT,
        .kernelRows = kernelF,
        .stride = strideF,
        .firstRow = static_cast<int>(KernelReach(kernelF, strideF, outRows, rows).firstRow),
    };
    const auto operation = depthwise ? ippsConvDepthwise_32f : ippsConv_32f;
    check(operation(tapFrames.data(), weights.elements(), panelWidth,
                    bias.numAvailable() > 0 ? bias.elements() : nullptr, 0, out, &size));
}

template <typename T>
void ConvLayer<T>::reset() {
    zeroElements(history.writableElements(), history.numAvailable());
    frameCount = 0;
}

template <typename T>
int ConvLayer<T>::ownLatency(int scale) const {
    return wrappingMultiply(delay, scale);
}

template class ConvLayer<float>;

} // namespace sorvane
