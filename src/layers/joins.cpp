#include "layers/joins.h"

#include "layers/tensor_operations.h"

#include <cstdint>
#include <limits>

namespace sorvane {

namespace {

/// The operation of a code; null for codes that do nothing.
using Operation = IppStatus (*)(const float* accumulated, const float* next, float* out, int count);

Operation operationOf(int code) {
    constexpr Operation operations[] = {ippsMul_32f, ippsDiv_32f, ippsAdd_32f, ippsSub_32f};
    return code >= 0 && code < 4 ? operations[code] : nullptr;
}

} // namespace

template <typename T>
ArithmeticLayer<T>::ArithmeticLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseQueuedLayer<T>(layers, reader, arithmeticKind), operation(reader.scalar<std::int8_t>()) {}

template <typename T>
bool ArithmeticLayer<T>::process(const std::vector<Tensor<T>>& frames,
                                 const std::vector<BaseLayer<T>*>& /*sources*/) {
    const Operation apply = operationOf(operation);
    const std::int64_t count = frames.front().numAvailable();
    for (const Tensor<T>& next : frames)
        requireSize(apply ? count : 0, next.numAvailable());

    T* out = output.renew(frames.front().shape);
    const T* accumulated = frames.front().elements();
    for (std::size_t i = 1; apply && count > 0 && i < frames.size(); ++i) {
        check(apply(accumulated, frames[i].elements(), out, vectorLength(count)));
        accumulated = out;
    }
    if (accumulated != out)
        copyElements(accumulated, out, count);
    return this->forwardToSuccessors(output);
}

template <typename T>
ConcatLayer<T>::ConcatLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseQueuedLayer<T>(layers, reader, concatKind) {}

template <typename T>
bool ConcatLayer<T>::process(const std::vector<Tensor<T>>& frames,
                             const std::vector<BaseLayer<T>*>& /*sources*/) {
    const TensorDims first = dimsOf(frames.front());
    std::int64_t total = 0;
    for (const Tensor<T>& frame : frames) {
        const int channels = dimsOf(frame).channels;
        requireSize(std::int64_t{first.rows} * channels, frame.numAvailable());
        total += channels;
    }
    requireSize(total, std::numeric_limits<int>::max());

    T* destination = output.renew({first.frames, first.rows, static_cast<int>(total)});
    for (const Tensor<T>& frame : frames) {
        const int channels = frame.shape[2];
        for (int f = 0; f < first.rows; ++f)
            copyElements(frame.elements() + std::int64_t{f} * channels, destination + f * total,
                         channels);
        if (first.rows > 0)
            destination += channels;
    }
    return this->forwardToSuccessors(output);
}

template class ArithmeticLayer<float>;
template class ConcatLayer<float>;

} // namespace sorvane
