#pragma once

#include "layers/base_layer.h"

#include <cstdint>
#include <vector>

namespace sorvane {

/// Streaming convolution over time and frequency, causal in time: correlates a ring of recent
/// frames with weights [Kt, Kf, Cin, Cout]. Time tap 0 meets the oldest frame, the last tap the
/// current one; outside the frequency axis there are zeros. The ring starts out silent.
///
/// It gives an output frame [1, F / strideF, Cout] on input frames delay, delay + strideT,
/// delay + 2 strideT and so on, and flushes its successors on the others. A stream cut into any
/// number of calls gives the same result, but for repeated channels (below).
///
/// With Cin of 1 and an input of more channels it is depthwise: each of the Cout channels has its
/// own filter and reads one channel. Cout may be a multiple of the input's channels, each of which
/// then feeds as many outputs in a row; that form reads the first frame of a call for each of its
/// frames.
template <typename T>
class ConvLayer : public BaseLayer<T> {
public:
    /// Reads the input's name, weights, bias and five parameters. std::out_of_range for weights of
    /// fewer than four dimensions.
    ConvLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;
    [[nodiscard]] int ownLatency(int scale) const override;
    [[nodiscard]] FrameRatio frameRatio() const override { return {.taken = strideT}; }

private:
    void verify(const TensorDims& input, std::int64_t available) const;
    void storeFrame(const Tensor<T>& input, const TensorDims& dims, int frame);
    bool produce(bool depthwise);
    void convolve(T* out, int outRows, bool depthwise);

    [[nodiscard]] bool isDepthwise(const TensorDims& input) const;
    [[nodiscard]] int ringWidth(const TensorDims& input) const;

    int strideT = 1;
    int strideF = 1;
    int dilationT = 1;
    int unusedParameter = 0;
    std::int64_t frameCount = 0; // input frames since the reset
    int delay = 0;
    Tensor<T> weights;      // [Kt, Kf, Cin, Cout], Cout in panels
    Tensor<T> bias;         // Cout values, or empty
    Tensor<T> history;      // ring [span, F, width], built at first use and not reshaped
    OutputTensor<T> output; // [1, F / strideF, Cout]
    int kernelT;
    std::int64_t span = 1; // frames in the ring
    int kernelF;
    int inChannels;
    int outChannels;

    int panelWidth = 0;
    std::vector<const T*> tapFrames; // the ring's frame for each time tap
    ShapeGuard guard;
};

extern template class ConvLayer<float>;

} // namespace sorvane
