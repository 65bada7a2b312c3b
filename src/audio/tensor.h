#pragma once

// Tensors as cheap values: a shape and a shared buffer. Copying shares the buffer; detach() makes
// it private before a write. Reading goes through elements(), writing through writableElements().

#include "support/shared_block.h"
#include "support/vector/ipps.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

namespace sorvane {

/// The product of the dimensions, 0 for an empty shape. Saturates far above any buffer's size.
inline std::int64_t elementCount(std::span<const int> shape) {
    constexpr std::int64_t limit = std::int64_t{1} << 31;
    std::int64_t product = shape.empty() ? 0 : 1;
    for (const std::int64_t dimension : shape)
        product = std::clamp(product, -limit, limit) * dimension;
    return product;
}
inline std::int64_t elementCount(std::initializer_list<int> shape) {
    return elementCount(std::span<const int>(shape.begin(), shape.size()));
}

/// A buffer of `size` elements, 64-byte aligned, contents undefined. `data` is null, and `size` 0,
/// where there is nothing to hold or memory ran out.
template <typename T>
struct TensorData {
    explicit TensorData(std::int64_t count);
    TensorData(const TensorData&) = delete;
    TensorData& operator=(const TensorData&) = delete;
    ~TensorData() { ippsFree(data); }

    int size;
    T* data; // owned
};

/// A tensor. Between layers it has the shape [T, F, C]: frames, frequency positions, channels, with
/// channels varying fastest. The buffer may be larger than the shape needs: it never shrinks.
/// Threads: values that share a buffer may be used on different threads; one value by one at a
/// time.
template <typename T>
class Tensor {
public:
    Tensor() = default;

    /// Allocates exactly the shape's element count, contents undefined.
    explicit Tensor(const std::vector<int>& dimensions);

    /// Stores a shape. A buffer that is large enough stays with its contents; otherwise a new one
    /// of undefined contents replaces it. Doesn't detach.
    void setShape(std::span<const int> dimensions);
    void setShape(std::initializer_list<int> dimensions) {
        setShape(std::span<const int>(dimensions.begin(), dimensions.size()));
    }

    /// True while another value has the same buffer.
    [[nodiscard]] bool isShared() const { return data && !isSoleOwner(data); }

    /// Makes the buffer private to this value by copying it, if it is shared.
    void detach();

    /// The elements for reading; null without a buffer.
    [[nodiscard]] const T* elements() const { return data ? data->data : nullptr; }

    /// The elements for writing: detaches first.
    T* writableElements() {
        detach();
        return data ? data->data : nullptr;
    }

    /// Elements that may be read: those of the shape, and no more than the buffer holds.
    [[nodiscard]] std::int64_t numAvailable() const;

    std::shared_ptr<TensorData<T>> data;
    std::vector<int> shape;
};

using Tensor32 = Tensor<float>;

extern template struct TensorData<float>;
extern template class Tensor<float>;

/// The first three dimensions of a tensor between layers; all 0 for an empty shape.
struct TensorDims {
    int frames = 0;   // T
    int rows = 0;     // F
    int channels = 0; // C

    [[nodiscard]] std::int64_t frameSize() const { return std::int64_t{rows} * channels; }
};

/// Raises the size error for a tensor of one or two dimensions, with a negative one, or with
/// further ones that make it hold fewer than T * F * C elements.
TensorDims dimsOf(const Tensor32& tensor);

} // namespace sorvane
