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
    void multiply(const T* frame, const TensorDims& dims, T* out) const;

    Tensor<T> weights; // [F out, F in, C], walked as a flat array; with one channel F out in panels
    Tensor<T> bias;    // F * C values, or empty
    OutputTensor<T> output;
    int matrixSize = 0; // F of weights in panels
    int panelWidth = 0; // 0 for weights that aren't
    ShapeGuard guard;
};

extern template class DenseLayer<float>;

} // namespace sorvane
