#include "layers/frequency_rescale.h"

#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace sorvane {

template <typename T>
FrequencyRescaleLayer<T>::FrequencyRescaleLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, frequencyRescaleKind) {
    const int bandCount = reader.scalar<std::int16_t>();
    if (bandCount < 0)
        throw std::length_error("vector too long");
    for (int b = 0; b < bandCount; ++b) {
        const int start = reader.scalar<std::int16_t>();
        weights.push_back(readTensor(reader));
        // The first weight is used even where the length is 0.
        bands.push_back(
            {weights.back().elements(), start, std::max(dimension(weights.back(), 0), 1)});
    }
}

template <typename T>
void FrequencyRescaleLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1 || input.channels < 1)
        return;
    for (std::size_t b = 0; b < bands.size(); ++b) {
        requireSize(bands[b].length, weights[b].numAvailable());
        requireShape(bands[b].start >= 0);
        requireSize(std::int64_t{bands[b].start} + bands[b].length, input.rows);
    }
}

template <typename T>
bool FrequencyRescaleLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    const auto numBands = static_cast<int>(bands.size());
    T* out = output.renew({dims.frames, numBands, dims.channels});
    const T* frame = input.elements();
    if (numBands < 1 || dims.channels < 1)
        return this->forwardToSuccessors(output);
    for (int t = 0; t < dims.frames; ++t) {
        check(ippsBands_32f(frame, bands.data(), numBands, out, dims.channels));
        frame += dims.frameSize();
        out += std::int64_t{numBands} * dims.channels;
    }
    return this->forwardToSuccessors(output);
}

template class FrequencyRescaleLayer<float>;

} // namespace sorvane
