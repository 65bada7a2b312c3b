#pragma once

#include "layers/base_layer.h"

namespace sorvane {

/// Fully connected across the frequency axis, with a matrix for every channel: each frame by
/// itself, the output in the shape of the input.
template <typename T>
class DenseLayer : public BaseLayer<T> {
public:
    /// Reads the input's name, weights and bias.
    DenseLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;

private:
    void verify(const TensorDims& input) const;

    Tensor<T> weights; // [F out, F in, C], walked as a flat array
    Tensor<T> bias;    // F * C values, or empty
    Tensor<T> output;
    ShapeGuard guard;
};

extern template class DenseLayer<float>;

} // namespace sorvane
