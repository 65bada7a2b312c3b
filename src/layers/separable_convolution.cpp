#include "layers/separable_convolution.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"

#include <algorithm>
#include <cstdlib>

namespace sorvane {

// The stored code is that of the dense kind; nothing computes with it.
template <typename T>
SeparableChannelConvLayer<T>::SeparableChannelConvLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, denseKind) {
    timeTaps = readTensor(reader);
    freqTaps = readTensor(reader);
    kernelT = dimension(timeTaps, 0);
    kernelF = dimension(freqTaps, 0);
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
        filterTime(frameSize);
        filterFrequency(frameSize, dims.channels);
        if (frameCount >= startup)
            reached |= this->forwardToSuccessors(output);
        ++frameCount;
    }
    return reached;
}

template <typename T>
void SeparableChannelConvLayer<T>::filterTime(std::int64_t frameSize) {
    if (frameSize < 1)
        return;
    const int count = vectorLength(frameSize);
    T* out = scratch.writableElements();
    for (int k = 0; k < kernelT; ++k) {
        const T* frame = frameOf(history, (frameCount + kernelT - 1 - k) % kernelT);
        const T tap = timeTaps.elements()[k];
        if (k == 0)
            check(ippsMulC_32f(frame, tap, out, count));
        else
            addScaled(frame, tap, out, count);
    }
}

template <typename T>
void SeparableChannelConvLayer<T>::filterFrequency(std::int64_t frameSize, int channels) {
    if (frameSize < 1)
        return;
    const int half = (kernelF - 1) / 2;
    const T* in = scratch.elements();
    const T* taps = freqTaps.elements();
    T* out = output.writableElements();
    check(ippsMulC_32f(in, taps[half], out, vectorLength(frameSize)));
    for (int q = 0; q < kernelF; ++q) {
        const std::int64_t shift = (std::int64_t{q} - half) * channels;
        if (shift == 0 || std::abs(shift) >= frameSize)
            continue;
        addScaled(in + std::max<std::int64_t>(-shift, 0), taps[q],
                  out + std::max<std::int64_t>(shift, 0),
                  vectorLength(frameSize - std::abs(shift)));
    }
}

template <typename T>
void SeparableChannelConvLayer<T>::reset() {
    zeroElements(history.writableElements(), history.numAvailable());
    frameCount = 0;
    scratch = {};
}

template class SeparableChannelConvLayer<float>;

} // namespace sorvane
