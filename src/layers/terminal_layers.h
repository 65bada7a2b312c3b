#pragma once

#include "layers/base_layer.h"
#include "support/recycled_list.h"

namespace sorvane {

/// Where a network's caller pushes tensors in; passes them on unchanged.
template <typename T>
class InputLayer : public BaseLayer<T> {
public:
    InputLayer();
    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
};

/// Where results wait until they are collected. While nobody collects, they wait without bound.
template <typename T>
class OutputLayer : public BaseLayer<T> {
public:
    OutputLayer();

    /// Reads the name of the layer that it collects from and attaches to it.
    OutputLayer(LayerMap<T>& layers, RecordReader& reader);

    /// Keeps a shared copy; always true.
    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;

    /// Takes all waiting tensors, joined along the frames in order of arrival; an empty tensor when
    /// there are none. A single tensor isn't copied. With more elements than the first one's F and C
    /// leave room for, all are dropped with the size error; with fewer the rest is 0. Only tests call
    /// this form.
    Tensor<T> collect();

    /// The same into a tensor that keeps its capacity. It stays as it was when there is an error.
    void collect(Tensor<T>& result);

private:
    void join();

    RecycledList<Tensor<T>> waiting;
    OutputTensor<T> joined;
};

extern template class InputLayer<float>;
extern template class OutputLayer<float>;

} // namespace sorvane
