#pragma once

#include "layers/burst_layer.h"

#include <cstdint>
#include <vector>

namespace sorvane {

/// Streaming transposed convolution: each input frame adds to Kt frames of a ring of output frames,
/// [1, strideF * F, Cout] each, and strideT frames leave the ring. Output frames before `delay` are
/// dropped.
///
/// Frames that left the ring wait. One of them that reaches an output ends the step, and the rest
/// go out one a flush, so that bursts spread over the ticks on which an upstream layer has no
/// output; one that reaches none is followed by the next at once.
///
/// Weights are [Kt, Kf, group channels, Cin], Cin fastest. With one group channel and more than one
/// output channel the layer is depthwise: output channel c is fed by input channel c alone.
template <typename T>
class TransposedConvLayer : public BurstLayer<T> {
public:
    /// Reads the input's name, weights, bias, output channels and five parameters.
    /// std::out_of_range for weights of fewer than four dimensions.
    TransposedConvLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;
    void reset() override;
    [[nodiscard]] int ownLatency(int scale) const override;
    [[nodiscard]] FrameRatio frameRatio() const override { return {.given = strideT}; }

private:
    void verify(const TensorDims& input, std::int64_t available) const;
    bool accumulate();
    void addProducts(int outRows);
    void emitFrames(int outRows);
    void clearLeftFrames();

    [[nodiscard]] bool isDepthwise() const { return groupChannels == 1 && outputChannels != 1; }
    [[nodiscard]] int ringLength() const { return kernelT > strideT ? kernelT : strideT; }

    int strideT = 1;
    int strideF = 1;
    int dilationT = 1; // not used: time taps are always adjacent
    int unusedParameter = 0;
    std::int64_t frameCount = 0; // output frames since the reset
    int delay = 0;
    Tensor<T> weights;         // the output channels (depthwise: all channels) in panels
    Tensor<T> bias;            // Cout values, or empty
    Tensor<T> accumulator;     // ring [ringLength, strideF * F, Cout], built at first use
    Tensor<T> inputFrame;      // [1, F, Cin]
    OutputTensor<T> emitFrame; // [1, strideF * F, Cout]
    int kernelT;
    int kernelF;
    int inChannels;
    int groupChannels;
    int outputChannels;
    int panelWidth = 0;
    std::vector<T*> tapFrames; // the ring's frame for each time tap
    ShapeGuard guard;
};

extern template class TransposedConvLayer<float>;

} // namespace sorvane
