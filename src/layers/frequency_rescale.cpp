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
        Band& band = bands.emplace_back();
        band.start = reader.scalar<std::int16_t>();
        band.weights = readTensor(reader);
        band.length = dimension(band.weights, 0);
        band.values = band.weights.elements();
    }
}

template <typename T>
void FrequencyRescaleLayer<T>::verify(const TensorDims& input) const {
    if (input.frames < 1 || input.channels < 1)
        return;
    for (const Band& band : bands) {
        // The first weight is used even where the length is 0.
        const std::int64_t used = std::max(band.length, 1);
        requireSize(used, band.weights.numAvailable());
        requireShape(band.start >= 0);
        requireSize(band.start + used, input.rows);
    }
}

template <typename T>
bool FrequencyRescaleLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    const TensorDims dims = guard(input, [&](const TensorDims& shape) { verify(shape); });
    output.setShape({dims.frames, static_cast<int>(bands.size()), dims.channels});
    const T* frame = input.elements();
    T* out = output.writableElements();
    for (int t = 0; dims.channels > 0 && t < dims.frames; ++t, frame += dims.frameSize()) {
        for (const Band& band : bands) {
            const T* row = frame + std::int64_t{band.start} * dims.channels;
            check(ippsMulC_32f(row, band.values[0], out, dims.channels));
            for (int k = 1; k < band.length; ++k)
                addScaled(row + std::int64_t{k} * dims.channels, band.values[k], out,
                          dims.channels);
            out += dims.channels;
        }
    }
    return this->forwardToSuccessors(output);
}

template class FrequencyRescaleLayer<float>;

} // namespace sorvane
