#pragma once

#include "layers/base_layer.h"

#include <cstdint>
#include <vector>

namespace sorvane {

/// One filter in time and one in frequency, the same for every channel and position. The time taps
/// meet the frames in a rotated order: the first tap the frame one step back, the last but one the
/// oldest, the last the current frame. The frequency filter is centred, with zeros outside. The
/// first (Kt + 1) / 2 - 1 frames of a stream give no output and don't count as latency.
template <typename T>
class SeparableChannelConvLayer : public BaseLayer<T> {
public:
    /// Reads the input's name and the taps.
    SeparableChannelConvLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;

private:
    void verify(const TensorDims& input) const;
    void filter(const TensorDims& dims);

    Tensor<T> timeTaps;     // Kt values
    Tensor<T> freqTaps;     // Kf values
    OutputTensor<T> output; // [1, F, C]
    Tensor<T> history;      // ring [Kt, F, C], built at first use
    Tensor<T> scratch;      // [1, F, C], what the time filter gives
    std::int64_t frameCount = 0;
    int kernelT;
    int kernelF;
    std::vector<const T*> tapFrames; // the ring's frame for each time tap
    ShapeGuard guard;
};

extern template class SeparableChannelConvLayer<float>;

} // namespace sorvane
