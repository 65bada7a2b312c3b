#include "layers/normalisation.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"

#include <cmath>

namespace sorvane {

namespace {

constexpr int firstVersionWithMode = 0x100A;
constexpr float smallestLevel = 1e-12F;

/// The root mean square of `count` values, 0 for none.
float rootMeanSquare(const float* values, std::int64_t count) {
    if (count < 1)
        return 0.0F;
    float norm;
    check(ippsNorm_L2_32f(values, vectorLength(count), &norm));
    return norm / static_cast<float>(std::sqrt(static_cast<double>(static_cast<float>(count))));
}

void scaleElements(const float* in, float factor, float* out, std::int64_t count) {
    if (count > 0)
        check(ippsMulC_32f(in, factor, out, vectorLength(count)));
}

} // namespace

template <typename T>
NormLayer<T>::NormLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, normKind) {
    if (reader.version >= firstVersionWithMode) {
        mode = reader.scalar<std::int8_t>();
        scale = readTensor(reader);
        bias = readTensor(reader);
    } else {
        bias = readTensor(reader);
        scale = readTensor(reader);
    }
}

template <typename T>
void NormLayer<T>::verify(const TensorDims& input) const {
    if ((mode != 0 && mode != 1) || input.frames < 1 || input.rows < 1)
        return;
    requireTensor(input.channels, scale);
    if (bias.numAvailable() > 0)
        requireSize(input.channels, bias.numAvailable());
}

template <typename T>
bool NormLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    if (mode != 0 && mode != 1) {
        passOnBuffer(input);
    } else {
        T* out = output.renew(input.shape);
        const T* in = input.elements();
        const std::int64_t numRows = std::int64_t{dims.frames} * dims.rows;
        for (std::int64_t row = 0; dims.channels > 0 && row < numRows; ++row) {
            normaliseRow(in, out, dims.channels);
            in += dims.channels;
            out += dims.channels;
        }
    }
    return this->forwardToSuccessors(output);
}

/// What the buffer held is passed on; a new one must hold something.
template <typename T>
void NormLayer<T>::passOnBuffer(const Tensor<T>& input) {
    const TensorData<T>* buffer = output.data.get();
    output.setShape(input.shape);
    if (elementCount(output.shape) > 0)
        requireMemory(output.elements());
    if (output.data.get() != buffer)
        zeroElements(output.writableElements(), output.numAvailable());
}

template <typename T>
void NormLayer<T>::normaliseRow(const T* in, T* out, int channels) const {
    if (mode == 0) {
        check(ippsMul_32f(in, scale.elements(), out, channels));
        check(ippsAdd_32f(out, bias.elements(), out, channels));
        return;
    }
    scaleElements(in, 1.0F / (rootMeanSquare(in, channels) + smallestLevel), out, channels);
    check(ippsMul_32f(out, scale.elements(), out, channels));
    if (bias.numAvailable() > 0)
        check(ippsAdd_32f(out, bias.elements(), out, channels));
}

template <typename T>
PreNormLayer<T>::PreNormLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, preNormKind),
      window(readTensor(reader)),
      windowLength(dimension(window, 0)) {
    // A window without its weights never runs, and needs no ring.
    if (windowLength > 0 && windowLength <= window.numAvailable())
        makeZeros(levels, {windowLength});
}

template <typename T>
bool PreNormLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) {
        if (shape.frames == 0)
            return;
        requireTensor(1, window);
        requireShape(levels.numAvailable() > 0);
    });
    T* out = output.renew(input.shape);
    const std::int64_t frameSize = dims.frameSize();
    const T* in = input.elements();
    T* ring = levels.writableElements();
    for (int t = 0; t < dims.frames; ++t) {
        const auto slot = static_cast<int>(position % windowLength);
        const T rms = rootMeanSquare(in, frameSize);
        if (position == 0)
            check(ippsSet_32f(rms, ring, windowLength));
        else
            ring[slot] = rms;
        scaleElements(in, 1.0F / (weightedLevel(slot) + smallestLevel), out, frameSize);
        ++position;
        in += frameSize;
        out += frameSize;
    }
    return this->forwardToSuccessors(output);
}

/// The dot product of the window with the ring read from `slot` onward, as its two stretches.
template <typename T>
T PreNormLayer<T>::weightedLevel(int slot) const {
    const int count = windowLength - slot;
    T fromSlot = 0;
    T fromStart = 0;
    check(ippsDotProd_32f(window.elements(), levels.elements() + slot, count, &fromSlot));
    if (slot > 0)
        check(ippsDotProd_32f(window.elements() + count, levels.elements(), slot, &fromStart));
    return fromSlot + fromStart;
}

template <typename T>
void PreNormLayer<T>::reset() {
    position = 0;
    zeroElements(levels.writableElements(), levels.numAvailable());
}

template <typename T>
ARPreNormLayer<T>::ARPreNormLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, arPreNormKind) {
    attack = reader.scalar<float>();
    release = reader.scalar<float>();
    epsilon = reader.scalar<float>();
}

template <typename T>
bool ARPreNormLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = dimsOf(input);
    requireElements(input, dims);
    T* out = output.renew(input.shape);
    const std::int64_t frameSize = dims.frameSize();
    const T* in = input.elements();
    for (int t = 0; t < dims.frames; ++t) {
        const T rms = rootMeanSquare(in, frameSize);
        const T coefficient = rms > level ? attack : release;
        level = (1.0F - coefficient) * rms + coefficient * level;
        scaleElements(in, 1.0F / (level + epsilon), out, frameSize);
        in += frameSize;
        out += frameSize;
    }
    return this->forwardToSuccessors(output);
}

template <typename T>
void ARPreNormLayer<T>::reset() {
    output = {};
    level = 0;
}

template class NormLayer<float>;
template class PreNormLayer<float>;
template class ARPreNormLayer<float>;

} // namespace sorvane
