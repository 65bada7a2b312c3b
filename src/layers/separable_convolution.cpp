#include "layers/separable_convolution.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"
#include "support/vector/ipps_compound.h"

namespace sorvane {

// The stored code is that of the dense kind; nothing computes with it.
template <typename T>
SeparableChannelConvLayer<T>::SeparableChannelConvLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, denseKind) {
    timeTaps = readTensor(reader);
    freqTaps = readTensor(reader);
    kernelT = dimension(timeTaps, 0);
    kernelF = dimension(freqTaps, 0);
    // Taps without their values never run.
    if (kernelT > 0 && kernelT <= timeTaps.numAvailable())
        tapFrames.resize(static_cast<std::size_t>(kernelT));
}

template <typename T>
void SeparableChannelConvLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1)
        return;
    requireShape(kernelT > 0 && kernelF > 0);
    requireSize(kernelT, timeTaps.numAvailable());
    requireSize(kernelF, freqTaps.numAvailable());
    if (history.numAvailable() > 0)
        requireSize(input.frameSize(), std::int64_t{history.shape[1]} * history.shape[2]);
}

template <typename T>
bool SeparableChannelConvLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    const std::int64_t frameSize = dims.frameSize();
    if (history.numAvailable() == 0)
        makeZeros(history, {kernelT, dims.rows, dims.channels});
    scratch.setShape({1, dims.rows, dims.channels});
    output.setShape({1, dims.rows, dims.channels});

    const int startup = (kernelT + 1) / 2 - 1;
    bool reached = false;
    for (int t = 0; t < dims.frames; ++t) {
        copyElements(input.elements() + t * frameSize,
                     writableFrameOf(history, frameCount % kernelT), frameSize);
        if (frameSize > 0)
            filter(dims);
        if (frameCount >= startup)
            reached |= this->forwardToSuccessors(output);
        ++frameCount;
    }
    return reached;
}

/// Filters the ring in time and the result, in `scratch`, in frequency.
template <typename T>
void SeparableChannelConvLayer<T>::filter(const TensorDims& dims) {
    for (int k = 0; k < kernelT; ++k)
        tapFrames[static_cast<std::size_t>(k)] =
            frameOf(history, (frameCount + kernelT - 1 - k) % kernelT);
    T* filtered = scratch.writableElements();
    check(ippsFilterFrames_32f(tapFrames.data(), timeTaps.elements(), kernelT, filtered,
                               vectorLength(dims.frameSize())));
    check(ippsFilterRows_32f(filtered, freqTaps.elements(), kernelF,
                             output.renew({1, dims.rows, dims.channels}), dims.rows,
                             dims.channels));
}

template <typename T>
void SeparableChannelConvLayer<T>::reset() {
    zeroElements(history.writableElements(), history.numAvailable());
    frameCount = 0;
    scratch = {};
}

template class SeparableChannelConvLayer<float>;

} // namespace sorvane
