#pragma once

#include "layers/base_layer.h"

#include <cstdint>
#include <vector>

namespace sorvane {

/// Filters each channel in time, if the file has taps for it, then mixes the channels of each
/// position through one constant matrix and adds a constant. The first `delay` frames of a stream
/// are computed and not passed on; with a delay the layer takes one frame a call, more being a size
/// error.
template <typename T>
class SelfAttentionLayer : public BaseLayer<T> {
public:
    /// Reads the input's name, matrix, bias, delay and taps.
    SelfAttentionLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;

    /// The delay counts in frames of this layer, whatever they stand for.
    [[nodiscard]] int ownLatency(int scale) const override;

private:
    void verify(const TensorDims& input) const;
    [[nodiscard]] bool hasTaps() const { return timeTaps.numAvailable() > 0; }
    void fitPanels(int channels);
    const T* filterTime(const T* frame, const TensorDims& dims);
    void mixChannels(const T* x, const TensorDims& dims, T* out) const;

    Tensor<T> attention; // [C in, C out], C out in panels
    Tensor<T> timeTaps;  // [K, C], oldest first, C in panels; or empty
    Tensor<T> bias;      // [F, C]
    Tensor<T> history;   // ring [K, F, C], built at first use
    Tensor<T> filtered;  // [F, C]
    int delay = 0;
    std::int64_t frameCount = 0;
    OutputTensor<T> output;
    int numTaps = 0; // K
    int attentionPanelWidth = 0;
    int tapPanelWidth = 0;
    std::vector<const T*> tapFrames; // the ring's frame for each tap
    ShapeGuard guard;
};

extern template class SelfAttentionLayer<float>;

} // namespace sorvane
