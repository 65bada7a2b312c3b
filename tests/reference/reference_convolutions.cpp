#include "reference/reference_layers.h"

#include <algorithm>
#include <deque>
#include <stdexcept>

namespace sorvane::test {
namespace {

// Adds the values of a bias that may be missing.
void addBias(Sum& sum, const FileTensor& bias, int channel) {
    if (!bias.values.empty())
        sum.add(1.0F, exact(bias.values.data()[channel]));
}

// Position of the first frequency tap relative to o * strideF, or of its place in the output.
int padding(int kernelF, int strideF) {
    return -((kernelF - strideF) / 2);
}

// A row of `size` values at `offset` of all the values of a tensor.
const Real* flat(const Tensor& tensor, int offset, int size) {
    if (offset + size > static_cast<int>(tensor.values.size()))
        throw std::out_of_range("the tensor is smaller than the layer's input");
    return tensor.values.data() + offset;
}

class Conv : public ReferenceLayer {
public:
    explicit Conv(const LayerDescription& layer)
        : ReferenceLayer(layer),
          m_kernelT(layer.weights.shape.at(0)),
          m_kernelF(layer.weights.shape[1]),
          m_inChannels(layer.weights.shape[2]),
          m_outChannels(layer.weights.shape[3]) {}

    bool forward(const Tensor& input, const ReferenceLayer*) override {
        m_depthwise = m_inChannels == 1 && input.channels != 1;
        m_positions = input.positions;
        m_width = m_depthwise ? m_outChannels : input.channels;
        const int row = m_positions * m_width;
        const int repeat = m_width / input.channels;
        bool reached = false;
        for (int t = 0; t < input.frames; ++t) {
            if (repeat < 2) {
                m_frames.append(flat(input, t * row, row), row);
            } else {
                // Always the first frame of the tensor.
                std::vector<Real> repeated;
                for (int i = 0; i < input.frameSize(); ++i)
                    for (int r = 0; r < repeat; ++r)
                        repeated.push_back(input.values.data()[i]);
                m_frames.append(repeated.data(), row);
            }
            reached = step() || reached;
        }
        return reached;
    }

    void reset() override { m_frames.clear(); }

    int latency(int scale) const override {
        const ConvParameters& p = m_layer.parameters;
        return p.delay * scale + ReferenceLayer::latency(scale * p.strideT);
    }

private:
    bool step() {
        const ConvParameters& p = m_layer.parameters;
        const int now = m_frames.size() - 1;
        if (now < p.delay || (now - p.delay) % p.strideT != 0) {
            flush();
            return false;
        }
        Tensor output(1, m_positions / p.strideF, m_outChannels);
        for (int o = 0; o < output.positions; ++o)
            for (int c = 0; c < m_outChannels; ++c)
                output.frame(0)[o * m_outChannels + c] = value(now, o, c);
        return emit(output);
    }

    Real value(int now, int o, int channel) const {
        const ConvParameters& p = m_layer.parameters;
        Sum sum;
        addBias(sum, m_layer.bias, channel);
        for (int k = 0; k < m_kernelT; ++k) {
            const Real* frame = m_frames[now - (m_kernelT - 1 - k) * p.dilationT];
            for (int j = 0; j < m_kernelF; ++j) {
                const int position = o * p.strideF + padding(m_kernelF, p.strideF) + j;
                if (frame == nullptr || position < 0 || position >= m_positions)
                    continue;
                const Real* x = frame + position * m_width;
                const float* w = m_layer.weights.values.data() +
                                 (k * m_kernelF + j) * m_inChannels * m_outChannels;
                if (m_depthwise)
                    sum.add(w[channel], x[channel]);
                for (int i = 0; i < m_inChannels && !m_depthwise; ++i)
                    sum.add(w[i * m_outChannels + channel], x[i]);
            }
        }
        return sum.mixed();
    }

    int m_kernelT, m_kernelF, m_inChannels, m_outChannels;
    bool m_depthwise = false;
    int m_positions = 0, m_width = 0;
    FrameList m_frames;
};

class TransposedConv : public ReferenceLayer {
public:
    TransposedConv(const LayerDescription& layer, int version)
        : ReferenceLayer(layer),
          m_kernelT(layer.weights.shape.at(0)),
          m_kernelF(layer.weights.shape[1]),
          m_groupChannels(layer.weights.shape[2]),
          m_inChannels(layer.weights.shape[3]),
          m_outChannels(version >= 0x1008 ? layer.outputChannels : m_groupChannels),
          m_depthwise(m_groupChannels == 1 && m_outChannels != 1) {}

    bool forward(const Tensor& input, const ReferenceLayer*) override {
        m_positions = input.positions;
        const int row = m_positions * m_inChannels;
        const int stride = m_layer.parameters.strideT;
        bool reached = false;
        for (int t = 0; t < input.frames; ++t) {
            m_frames.append(flat(input, t * row, row), row);
            const int blockEnd = m_frames.size() * stride;
            const int delay = m_layer.parameters.delay;
            for (int n = std::max(delay, blockEnd - stride); n < blockEnd; ++n)
                m_pending.push_back(outputFrame(n));
            reached = drain() || reached;
        }
        return reached;
    }

    void flush() override {
        drain();
        ReferenceLayer::flush();
    }

    void reset() override {
        m_frames.clear();
        m_pending.clear();
    }

    int latency(int scale) const override {
        const ConvParameters& p = m_layer.parameters;
        return p.delay * scale + ReferenceLayer::latency(scale / p.strideT);
    }

private:
    // One frame that reaches the output ends the tick; others don't count.
    bool drain() {
        while (!m_pending.empty()) {
            const bool reached = emit(m_pending.front());
            m_pending.pop_front();
            if (reached)
                return true;
        }
        return false;
    }

    Tensor outputFrame(int n) const {
        Tensor output(1, m_positions * m_layer.parameters.strideF, m_outChannels);
        for (int o = 0; o < output.positions; ++o)
            for (int c = 0; c < m_outChannels; ++c)
                output.frame(0)[o * m_outChannels + c] = value(n, o, c);
        return output;
    }

    // Input frame t and position i reach the output frames t * strideT + k and the positions
    // i * strideF + padding + j.
    Real value(int n, int o, int channel) const {
        const ConvParameters& p = m_layer.parameters;
        Sum sum;
        addBias(sum, m_layer.bias, channel);
        for (int t = 0; t < m_frames.size(); ++t) {
            const int k = n - t * p.strideT;
            for (int i = 0; i < m_positions; ++i) {
                const int j = o - i * p.strideF - padding(m_kernelF, p.strideF);
                if (k < 0 || k >= m_kernelT || j < 0 || j >= m_kernelF)
                    continue;
                const Real* x = m_frames[t] + i * m_inChannels;
                const float* w = m_layer.weights.values.data() +
                                 (k * m_kernelF + j) * m_groupChannels * m_inChannels;
                if (m_depthwise && channel < m_inChannels)
                    sum.add(w[channel], x[channel]);
                if (!m_depthwise && channel < m_groupChannels)
                    for (int c = 0; c < m_inChannels; ++c)
                        sum.add(w[channel * m_inChannels + c], x[c]);
            }
        }
        return sum.mixed();
    }

    int m_kernelT, m_kernelF, m_groupChannels, m_inChannels, m_outChannels;
    bool m_depthwise;
    int m_positions = 0;
    FrameList m_frames;
    std::deque<Tensor> m_pending;
};

class SeparableConv : public ReferenceLayer {
public:
    using ReferenceLayer::ReferenceLayer;

    bool forward(const Tensor& input, const ReferenceLayer*) override {
        const int startup = (timeTaps() + 1) / 2 - 1;
        bool reached = false;
        for (int t = 0; t < input.frames; ++t) {
            m_frames.append(input.frame(t), input.frameSize());
            if (m_frames.size() > startup)
                reached = emit(filtered(input.positions, input.channels)) || reached;
        }
        return reached;
    }

    void reset() override { m_frames.clear(); }

private:
    int timeTaps() const { return m_layer.timeTaps.shape.at(0); }

    Tensor filtered(int positions, int channels) const {
        const int freqTaps = m_layer.weights.shape.at(0);
        const int half = (freqTaps - 1) / 2;
        Tensor output(1, positions, channels);
        for (int f = 0; f < positions; ++f)
            for (int c = 0; c < channels; ++c) {
                Sum sum;
                for (int q = 0; q < freqTaps; ++q) {
                    const int from = f - (q - half);
                    if (from >= 0 && from < positions)
                        sum.add(m_layer.weights.values.data()[q],
                                timeFiltered(from * channels + c));
                }
                output.frame(0)[f * channels + c] = sum.related();
            }
        return output;
    }

    // The last tap meets the current frame; the first one the frame before it, and so on back.
    Real timeFiltered(int element) const {
        const int now = m_frames.size() - 1;
        Sum sum;
        for (int k = 0; k < timeTaps(); ++k) {
            const Real* frame = m_frames[k == timeTaps() - 1 ? now : now - 1 - k];
            if (frame != nullptr)
                sum.add(m_layer.timeTaps.values.data()[k], frame[element]);
        }
        return sum.related();
    }

    FrameList m_frames;
};

} // namespace

std::unique_ptr<ReferenceLayer> makeReferenceConvolution(const LayerDescription& layer,
                                                         int version) {
    switch (layer.kind) {
    case 2:
        return std::make_unique<Conv>(layer);
    case 3:
        return std::make_unique<TransposedConv>(layer, version);
    case 15:
        return std::make_unique<SeparableConv>(layer);
    default:
        return nullptr;
    }
}

} // namespace sorvane::test
