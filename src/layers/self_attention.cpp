#include "layers/self_attention.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"

namespace sorvane {

namespace {

constexpr int firstVersionWithDelay = 0x1007;

} // namespace

template <typename T>
SelfAttentionLayer<T>::SelfAttentionLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, selfAttentionKind), attention(readTensor(reader)) {
    bias = readTensor(reader);
    if (reader.version >= firstVersionWithDelay) {
        delay = reader.scalar<std::int8_t>();
        timeTaps = readTensor(reader);
        numTaps = dimension(timeTaps, 0);
    }
}

template <typename T>
void SelfAttentionLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1)
        return;
    const std::int64_t frameSize = input.frameSize();
    requireSize(frameSize, bias.numAvailable());
    if (input.rows > 0)
        requireSize(std::int64_t{input.channels} * input.channels, attention.numAvailable());
    if (delay > 0)
        requireSize(input.frames * frameSize, frameSize);
    if (!hasTaps())
        return;
    requireShape(numTaps > 0);
    if (input.rows > 0)
        requireSize(std::int64_t{numTaps} * input.channels, timeTaps.numAvailable());
    if (history.numAvailable() > 0)
        requireSize(frameSize, std::int64_t{history.shape[1]} * history.shape[2]);
    if (filtered.numAvailable() > 0)
        requireSize(frameSize, filtered.numAvailable());
}

template <typename T>
bool SelfAttentionLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    if (delay > 0)
        output.setShape({1, dims.rows, dims.channels});
    else
        output.setShape(input.shape);
    if (hasTaps() && history.numAvailable() == 0)
        makeZeros(history, {numTaps, dims.rows, dims.channels});
    if (hasTaps() && filtered.numAvailable() == 0)
        filtered.setShape({dims.rows, dims.channels});

    const std::int64_t frameSize = dims.frameSize();
    const T* in = input.elements();
    T* out = output.writableElements();
    bool reached = false;
    for (int t = 0; t < dims.frames; ++t) {
        copyElements(bias.elements(), out, frameSize);
        if (frameSize > 0)
            mixChannels(hasTaps() ? filterTime(in, dims) : in, dims, out);
        in += frameSize;
        out += frameSize;
        if (delay > 0 && frameCount >= delay)
            reached |= this->forwardToSuccessors(output);
        ++frameCount;
    }
    return delay == 0 ? this->forwardToSuccessors(output) : reached;
}

/// Puts a frame in the ring and returns what the taps make of it.
template <typename T>
const T* SelfAttentionLayer<T>::filterTime(const T* frame, const TensorDims& dims) {
    const std::int64_t frameSize = dims.frameSize();
    T* out = filtered.writableElements();
    zeroElements(out, frameSize);
    copyElements(frame, writableFrameOf(history, frameCount % numTaps), frameSize);
    for (std::int64_t row = 0; row < frameSize; row += dims.channels)
        for (int k = 0; k < numTaps; ++k)
            addProduct(timeTaps.elements() + std::int64_t{k} * dims.channels,
                       frameOf(history, (frameCount + k + 1) % numTaps) + row, out + row,
                       dims.channels);
    return out;
}

template <typename T>
void SelfAttentionLayer<T>::mixChannels(const T* x, const TensorDims& dims, T* out) const {
    for (int f = 0; f < dims.rows; ++f, x += dims.channels, out += dims.channels)
        for (int j = 0; j < dims.channels; ++j)
            addScaled(attention.elements() + std::int64_t{j} * dims.channels, x[j], out,
                      dims.channels);
}

template <typename T>
void SelfAttentionLayer<T>::reset() {
    zeroElements(history.writableElements(), history.numAvailable());
    frameCount = 0;
}

template <typename T>
int SelfAttentionLayer<T>::latency(int scale) {
    return wrappingAdd(delay, this->successorLatency(scale));
}

template class SelfAttentionLayer<float>;

} // namespace sorvane
