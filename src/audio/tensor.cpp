#include "audio/tensor.h"

#include "audio/signal_data.h"
#include "support/vector_rows.h"

#include <algorithm>

namespace sorvane {

template <typename T>
TensorData<T>::TensorData(std::int64_t count)
    : data(reinterpret_cast<T*>(ippsMalloc_8u(blockBytes(count, sizeof(T))))) {
    size = data ? static_cast<int>(count) : 0;
}

template <typename T>
Tensor<T>::Tensor(const std::vector<int>& dimensions)
    : data(std::make_shared<TensorData<T>>(elementCount(dimensions))), shape(dimensions) {}

template <typename T>
void Tensor<T>::setShape(std::span<const int> dimensions) {
    shape.assign(dimensions.begin(), dimensions.end());
    const std::int64_t count = elementCount(shape);
    if (!data || count > data->size)
        data = std::make_shared<TensorData<T>>(count);
}

template <typename T>
void Tensor<T>::detach() {
    if (!isShared())
        return;
    auto copy = std::make_shared<TensorData<T>>(data->size);
    copyElements(data->data, copy->data, data->size);
    data = std::move(copy);
}

template <typename T>
std::int64_t Tensor<T>::numAvailable() const {
    return data ? std::min<std::int64_t>(elementCount(shape), data->size) : 0;
}

template struct TensorData<float>;
template class Tensor<float>;

TensorDims dimsOf(const Tensor32& tensor) {
    if (tensor.shape.empty())
        return {};
    requireShape(tensor.shape.size() >= 3);
    const TensorDims dims{tensor.shape[0], tensor.shape[1], tensor.shape[2]};
    requireShape(dims.frames >= 0 && dims.rows >= 0 && dims.channels >= 0);
    requireSize(elementCount(std::span(tensor.shape).first(3)), elementCount(tensor.shape));
    return dims;
}

} // namespace sorvane
