#include "layers/self_attention.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"
#include "layers/weight_panels.h"
#include "support/vector/ipps_compound.h"

namespace sorvane {

namespace {

constexpr int firstVersionWithDelay = 0x1007;

int columnsOf(const Tensor32& matrix) {
    return matrix.shape.size() == 2 ? matrix.shape[1] : 0;
}

/// Convolution over frames alone: each row by itself.
IppsConvSize_32f rowByRow(const TensorDims& dims, int numFrames) {
    return {
        .inRows = dims.rows,
        .inStep = dims.channels,
        .inChannels = dims.channels,
        .outRows = dims.rows,
        .outStep = dims.channels,
        .outChannels = dims.channels,
        .numFrames = numFrames,
        .kernelRows = 1,
        .stride = 1,
        .firstRow = 0,
    };
}

} // namespace

template <typename T>
SelfAttentionLayer<T>::SelfAttentionLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, selfAttentionKind), attention(readTensor(reader)) {
    bias = readTensor(reader);
    if (reader.version >= firstVersionWithDelay) {
        delay = reader.scalar<std::int8_t>();
        timeTaps = readTensor(reader);
        numTaps = dimension(timeTaps, 0);
        packRows(timeTaps, numTaps, columnsOf(timeTaps), tapPanelWidth);
        if (numTaps > 0 && numTaps <= timeTaps.numAvailable())
            tapFrames.resize(static_cast<std::size_t>(numTaps));
    }
    if (columnsOf(attention) == dimension(attention, 0))
        packRows(attention, dimension(attention, 0), columnsOf(attention), attentionPanelWidth);
}

template <typename T>
void SelfAttentionLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1)
        return;
    const std::int64_t frameSize = input.frameSize();
    requireTensor(frameSize, bias);
    if (input.rows > 0)
        requireTensor(std::int64_t{input.channels} * input.channels, attention);
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
    if (dims.frames > 0 && dims.frameSize() > 0)
        fitPanels(dims.channels);
    T* out = delay > 0 ? output.renew({1, dims.rows, dims.channels}) : output.renew(input.shape);
    if (hasTaps() && history.numAvailable() == 0)
        makeZeros(history, {numTaps, dims.rows, dims.channels});
    if (hasTaps() && filtered.numAvailable() == 0)
        filtered.setShape({dims.rows, dims.channels});

    const std::int64_t frameSize = dims.frameSize();
    const T* in = input.elements();
    bool reached = false;
    for (int t = 0; t < dims.frames; ++t) {
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
    T* out = filtered.writableElements();
    copyElements(frame, writableFrameOf(history, frameCount % numTaps), dims.frameSize());
    for (int k = 0; k < numTaps; ++k)
        tapFrames[static_cast<std::size_t>(k)] = frameOf(history, (frameCount + k + 1) % numTaps);
    const IppsConvSize_32f size = rowByRow(dims, numTaps);
    check(ippsConvDepthwise_32f(tapFrames.data(), timeTaps.elements(), tapPanelWidth, nullptr, 0,
                                out, &size));
    return out;
}

/// The bias of each position plus the channels' mix.
template <typename T>
void SelfAttentionLayer<T>::mixChannels(const T* x, const TensorDims& dims, T* out) const {
    const IppsConvSize_32f size = rowByRow(dims, 1);
    check(ippsConv_32f(&x, attention.elements(), attentionPanelWidth, bias.elements(),
                       dims.channels, out, &size));
}

/// The weights are walked as flat arrays: to an input of other channels than the file's they are
/// other matrices, for which they aren't packed.
template <typename T>
void SelfAttentionLayer<T>::fitPanels(int channels) {
    if (channels != columnsOf(attention))
        unpackRows(attention, columnsOf(attention), columnsOf(attention), attentionPanelWidth);
    if (hasTaps() && channels != columnsOf(timeTaps))
        unpackRows(timeTaps, numTaps, columnsOf(timeTaps), tapPanelWidth);
}

template <typename T>
void SelfAttentionLayer<T>::reset() {
    zeroElements(history.writableElements(), history.numAvailable());
    frameCount = 0;
}

template <typename T>
int SelfAttentionLayer<T>::ownLatency(int /*scale*/) const {
    return delay;
}

template class SelfAttentionLayer<float>;

} // namespace sorvane
