#pragma once

#include "layers/base_layer.h"

namespace sorvane {

/// Base of the layers that apply a fixed function to every element. The output has the shape of the
/// input; there is no streaming state.
template <typename T>
class ActivationLayer : public BaseLayer<T> {
public:
    using BaseLayer<T>::BaseLayer;
    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;

protected:
    /// Computes `out` of `in`, `count` elements each, at least one; `work` holds as many again.
    virtual void compute(const T* in, T* out, T* work, int count) = 0;

private:
    OutputTensor<T> output;
    Tensor<T> scratch;
};

/// max(x, 0).
template <typename T>
class ReLULayer : public ActivationLayer<T> {
public:
    ReLULayer(LayerMap<T>& layers, RecordReader& reader);

private:
    void compute(const T* in, T* out, T* work, int count) override;
};

/// max(x, 0) + slope * min(x, 0).
template <typename T>
class LeakyReLULayer : public ActivationLayer<T> {
public:
    LeakyReLULayer(LayerMap<T>& layers, RecordReader& reader);

private:
    void compute(const T* in, T* out, T* work, int count) override;
    T slope;
};

/// max(x, 0) + exp(min(x, 0)) - 1.
template <typename T>
class ELULayer : public ActivationLayer<T> {
public:
    ELULayer(LayerMap<T>& layers, RecordReader& reader);

private:
    void compute(const T* in, T* out, T* work, int count) override;
};

/// exp(y) / (1 + exp(y)) with y = x limited to -10 to 10.
template <typename T>
class SigmoidLayer : public ActivationLayer<T> {
public:
    SigmoidLayer(LayerMap<T>& layers, RecordReader& reader);

private:
    void compute(const T* in, T* out, T* work, int count) override;
};

/// x / 6 + 0.5 limited to 0 to 1.
template <typename T>
class HardSigmoidLayer : public ActivationLayer<T> {
public:
    HardSigmoidLayer(LayerMap<T>& layers, RecordReader& reader);

private:
    void compute(const T* in, T* out, T* work, int count) override;
};

/// ln(1 + exp(x)); infinite where exp(x) exceeds the range of float.
template <typename T>
class SoftplusLayer : public ActivationLayer<T> {
public:
    SoftplusLayer(LayerMap<T>& layers, RecordReader& reader);

private:
    void compute(const T* in, T* out, T* work, int count) override;
};

extern template class ActivationLayer<float>;
extern template class ReLULayer<float>;
extern template class LeakyReLULayer<float>;
extern template class ELULayer<float>;
extern template class SigmoidLayer<float>;
extern template class HardSigmoidLayer<float>;
extern template class SoftplusLayer<float>;

} // namespace sorvane
