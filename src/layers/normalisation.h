#pragma once

#include "layers/base_layer.h"

#include <cstdint>

namespace sorvane {

/// Scales the channels of each position. Mode 0: scale and bias alone. Mode 1: divides by the root
/// mean square of the channels first. Any other mode passes on a buffer that it doesn't write.
template <typename T>
class NormLayer : public BaseLayer<T> {
public:
    /// Reads the input's name, mode, scale and bias.
    NormLayer(LayerMap<T>& layers, RecordReader& reader);

    /// Besides the size error, the null-pointer error in mode 0 without a bias.
    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;

private:
    void verify(const TensorDims& input) const;
    void normaliseRow(const T* in, T* out, int channels) const;
    void passOnBuffer(const Tensor<T>& input);

    int mode = 0;
    Tensor<T> bias;  // C values; may be empty in mode 1
    Tensor<T> scale; // C values
    OutputTensor<T> output;
    ShapeGuard guard;
};

/// Divides each frame by a weighted sum of the levels of the last N frames. The first frame of a
/// stream counts for all those before it. The weights meet the levels in a rotated order: the first
/// the current frame's, the second the oldest, the last that of the frame before.
template <typename T>
class PreNormLayer : public BaseLayer<T> {
public:
    /// Reads the input's name and the window.
    PreNormLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;

private:
    [[nodiscard]] T weightedLevel(int slot) const;

    Tensor<T> window; // N weights
    Tensor<T> levels; // ring [N]
    OutputTensor<T> output;
    std::int64_t position = 0; // frames since the reset
    int windowLength;
    ShapeGuard guard;
};

/// Divides each frame by a level that follows the frames' with one coefficient while it rises and
/// another while it falls; a coefficient of 0 follows at once, one near 1 slowly. The level starts
/// at 0.
template <typename T>
class ARPreNormLayer : public BaseLayer<T> {
public:
    /// Reads the input's name and the three parameters.
    ARPreNormLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;

private:
    T attack;
    T release;
    T epsilon; // added to the level before the division
    OutputTensor<T> output;
    T level = 0;
};

extern template class NormLayer<float>;
extern template class PreNormLayer<float>;
extern template class ARPreNormLayer<float>;

} // namespace sorvane
