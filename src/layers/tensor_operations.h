#pragma once

#include "audio/tensor.h"
#include "support/vector_rows.h"

#include <cstdint>
#include <initializer_list>

namespace sorvane {

/// Raises the null-pointer error for a tensor that has no elements where some are needed, and the
/// size error for one of fewer than `needed`.
inline void requireTensor(std::int64_t needed, const Tensor32& tensor) {
    if (needed > 0)
        requireMemory(tensor.elements());
    requireSize(needed, tensor.numAvailable());
}

/// Gives a tensor a shape and zeros.
inline void makeZeros(Tensor32& tensor, std::initializer_list<int> shape) {
    tensor.setShape(shape);
    zeroElements(tensor.writableElements(), elementCount(tensor.shape));
}

/// Frame `index` of a tensor [T, F, C] for reading.
inline const float* frameOf(const Tensor32& tensor, std::int64_t index) {
    return tensor.elements() + index * tensor.shape[1] * tensor.shape[2];
}

/// Frame `index` of a tensor [T, F, C] for writing: detaches first.
inline float* writableFrameOf(Tensor32& tensor, std::int64_t index) {
    return tensor.writableElements() + index * tensor.shape[1] * tensor.shape[2];
}

} // namespace sorvane
