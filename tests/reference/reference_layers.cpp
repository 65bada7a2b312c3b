#include "reference/reference_layers.h"

#include <algorithm>
#include <deque>
#include <stdexcept>

namespace sorvane::test {
namespace {

// A layer that maps the frames of a tensor to as many frames, and hands them on together.
class FramewiseLayer : public ReferenceLayer {
public:
    using ReferenceLayer::ReferenceLayer;

    bool forward(const Tensor& input, const ReferenceLayer*) final {
        Tensor output(input.frames, outputPositions(input.positions), input.channels);
        for (int t = 0; t < input.frames; ++t)
            map(input.frame(t), input.positions, input.channels, output.frame(t));
        return emit(output);
    }

protected:
    virtual int outputPositions(int positions) const { return positions; }
    virtual void map(const Real* x, int positions, int channels, Real* y) = 0;
};

// A function whose slope never exceeds `slope` near `value`.
Real function(double value, Real x, double slope, double ulps = 1.0) {
    return rounded(value, slope * x.error, ulps);
}

Real activationOf(const LayerDescription& layer, Real x) {
    const double positive = std::max(x.value, 0.0);
    const double negative = std::min(x.value, 0.0);
    const double slope = exact(layer.slope).value;
    switch (layer.kind) {
    case 4: // ReLU
        return function(positive, x, 1.0);
    case 5: { // ELU
        const Real result = function(positive + std::exp(negative) - 1.0, x, 1.0);
        return {result.value, result.error + 2.0 * kRounding * std::exp(negative)};
    }
    case 6: { // sigmoid
        const double e = std::exp(std::clamp(x.value, -10.0, 10.0));
        return function(e / (1.0 + e), x, std::min(0.25, e), 6.0);
    }
    case 12: // leaky ReLU
        return function(positive + slope * negative, x, std::max(1.0, std::fabs(slope)), 2.0);
    case 17: { // softplus: beyond 88.7 the exponential doesn't fit a float
        const double e = x.value < 88.7 ? std::exp(x.value) : HUGE_VAL;
        const Real result = function(std::log(1.0 + e), x, 1.0, 2.0);
        return {result.value, result.error + 2.0 * kRounding};
    }
    case 20: { // hard sigmoid
        const Real result = function(std::clamp(x.value / 6.0 + 0.5, 0.0, 1.0), x, 1.0 / 6.0);
        return {result.value, result.error + 2.0 * kRounding * std::fabs(x.value)};
    }
    default:
        throw std::invalid_argument("no layer kind");
    }
}

class Activation : public FramewiseLayer {
public:
    using FramewiseLayer::FramewiseLayer;

protected:
    void map(const Real* x, int positions, int channels, Real* y) override {
        for (int i = 0; i < positions * channels; ++i)
            y[i] = activationOf(m_layer, x[i]);
    }
};

class Dense : public FramewiseLayer {
public:
    using FramewiseLayer::FramewiseLayer;

protected:
    void map(const Real* x, int positions, int channels, Real* y) override {
        const float* w = m_layer.weights.values.data();
        const FileTensor& bias = m_layer.bias;
        for (int i = 0; i < positions; ++i)
            for (int c = 0; c < channels; ++c) {
                Sum sum;
                for (int j = 0; j < positions; ++j)
                    sum.add(w[(i * positions + j) * channels + c], x[j * channels + c]);
                if (!bias.values.empty())
                    sum.add(1.0F, exact(bias.values.data()[i * channels + c]));
                y[i * channels + c] = sum.mixed();
            }
    }
};

class FrequencyRescale : public FramewiseLayer {
public:
    using FramewiseLayer::FramewiseLayer;

protected:
    int outputPositions(int) const override { return static_cast<int>(m_layer.bands.size()); }

    void map(const Real* x, int, int channels, Real* y) override {
        for (const RescaleBand& band : m_layer.bands)
            for (int c = 0; c < channels; ++c) {
                Sum sum;
                for (int k = 0; k < band.weights.shape.at(0); ++k)
                    sum.add(band.weights.values.data()[k], x[(band.start + k) * channels + c]);
                *y++ = sum.related();
            }
    }
};

constexpr float kLevelFloor = 1e-12F;

Real rootMeanSquare(const Real* x, int count) {
    double squares = 0.0;
    double errors = 0.0;
    for (int i = 0; i < count; ++i) {
        squares += x[i].value * x[i].value;
        errors += x[i].error * x[i].error;
    }
    return count > 0 ? rounded(std::sqrt(squares / count), std::sqrt(errors / count),
                               4.0 + std::sqrt(count))
                     : Real{};
}

class Norm : public FramewiseLayer {
public:
    Norm(const LayerDescription& layer, int version)
        : FramewiseLayer(layer), m_mode(version >= 0x100A ? layer.code : 0) {
        if (m_mode != 0 && m_mode != 1)
            throw std::invalid_argument("the output of this mode isn't defined");
    }

protected:
    void map(const Real* x, int positions, int channels, Real* y) override {
        const float* scale = m_layer.weights.values.data();
        const float* bias = m_layer.bias.values.data();
        for (int f = 0; f < positions; ++f, x += channels, y += channels) {
            Real factor = exact(1.0F);
            if (m_mode == 1)
                factor = exact(1.0F) / (rootMeanSquare(x, channels) + exact(kLevelFloor));
            for (int c = 0; c < channels; ++c) {
                y[c] = x[c] * factor * exact(scale[c]);
                if (m_mode == 0 || !m_layer.bias.values.empty())
                    y[c] = y[c] + exact(bias[c]);
            }
        }
    }

private:
    int m_mode;
};

class PreNorm : public FramewiseLayer {
public:
    using FramewiseLayer::FramewiseLayer;
    void reset() override { m_levels.clear(); }

protected:
    // Before the first frame the level was that of the first frame. The first weight meets the
    // current frame, the second one the oldest, and the last one the frame before the current one.
    void map(const Real* x, int positions, int channels, Real* y) override {
        const int size = positions * channels;
        const Real level = rootMeanSquare(x, size);
        m_levels.append(&level, 1);
        const int now = m_levels.size() - 1;
        const int length = m_layer.weights.shape.at(0);
        Sum sum;
        for (int k = 0; k < length; ++k) {
            const int index = k == 0 ? now : now - length + k;
            sum.add(m_layer.weights.values.data()[k], *m_levels[std::max(index, 0)]);
        }
        const Real factor = exact(1.0F) / (sum.related() + exact(kLevelFloor));
        for (int i = 0; i < size; ++i)
            y[i] = x[i] * factor;
    }

private:
    FrameList m_levels;
};

class ARPreNorm : public FramewiseLayer {
public:
    using FramewiseLayer::FramewiseLayer;
    void reset() override { m_level = {}; }

protected:
    void map(const Real* x, int positions, int channels, Real* y) override {
        const int size = positions * channels;
        const Real rms = rootMeanSquare(x, size);
        const Real coefficient =
            exact(rms.value > m_level.value ? m_layer.attack : m_layer.release);
        m_level = (exact(1.0F) - coefficient) * rms + coefficient * m_level;
        const Real factor = exact(1.0F) / (m_level + exact(m_layer.epsilon));
        for (int i = 0; i < size; ++i)
            y[i] = x[i] * factor;
    }

private:
    Real m_level;
};

class SelfAttention : public ReferenceLayer {
public:
    SelfAttention(const LayerDescription& layer, int version)
        : ReferenceLayer(layer),
          m_delay(version >= 0x1007 ? layer.parameters.delay : 0),
          m_filters(version >= 0x1007 && !layer.timeTaps.values.empty()) {}

    bool forward(const Tensor& input, const ReferenceLayer*) override {
        if (m_delay > 0 && input.frames > 1)
            throw std::invalid_argument("a delayed self-attention takes single frames");
        Tensor output(input.frames, input.positions, input.channels);
        bool reached = false;
        for (int t = 0; t < input.frames; ++t) {
            m_frames.append(input.frame(t), input.frameSize());
            mix(input.positions, input.channels, output.frame(t));
            if (m_delay > 0 && m_frames.size() > m_delay)
                reached = emit(output) || reached;
        }
        return m_delay == 0 ? emit(output) : reached;
    }

    void reset() override { m_frames.clear(); }
    int latency(int scale) const override { return m_delay + ReferenceLayer::latency(scale); }

private:
    void mix(int positions, int channels, Real* y) const {
        for (int f = 0; f < positions; ++f)
            for (int m = 0; m < channels; ++m) {
                Sum sum;
                sum.add(1.0F, exact(m_layer.bias.values.data()[f * channels + m]));
                for (int j = 0; j < channels; ++j)
                    sum.add(m_layer.weights.values.data()[j * channels + m],
                            source(f * channels + j, j, channels));
                y[f * channels + m] = sum.mixed();
            }
    }

    // An element of the current frame after the time filter, whose first tap meets the oldest
    // frame.
    Real source(int element, int channel, int channels) const {
        const int now = m_frames.size() - 1;
        if (!m_filters)
            return m_frames[now][element];
        const int taps = m_layer.timeTaps.shape.at(0);
        Sum sum;
        for (int k = 0; k < taps; ++k)
            if (const Real* frame = m_frames[now - (taps - 1 - k)])
                sum.add(m_layer.timeTaps.values.data()[k * channels + channel], frame[element]);
        return sum.related();
    }

    int m_delay;
    bool m_filters;
    FrameList m_frames;
};

// Joins the k-th frame of each input with the k-th of the others. An input that is named a second
// time gets no frames of its own.
class Join : public ReferenceLayer {
public:
    using ReferenceLayer::ReferenceLayer;

    void addSource(const ReferenceLayer* source) override { m_inputs.push_back({source, {}}); }

    bool forward(const Tensor& input, const ReferenceLayer* source) override {
        Input& entry = *std::find_if(m_inputs.begin(), m_inputs.end(),
                                     [&](const Input& i) { return i.source == source; });
        for (int t = 0; t < input.frames; ++t) {
            Tensor frame(1, input.positions, input.channels);
            std::copy_n(input.frame(t), input.frameSize(), frame.frame(0));
            entry.frames.push_back(frame);
        }
        bool reached = false;
        while (std::all_of(m_inputs.begin(), m_inputs.end(),
                           [](const Input& i) { return !i.frames.empty(); })) {
            std::vector<Tensor> frames;
            for (Input& i : m_inputs) {
                frames.push_back(i.frames.front());
                i.frames.pop_front();
            }
            reached = emit(join(frames)) || reached;
        }
        return reached;
    }

    void reset() override {
        for (Input& input : m_inputs)
            input.frames.clear();
    }

protected:
    virtual Tensor join(const std::vector<Tensor>& frames) const = 0;

private:
    struct Input {
        const ReferenceLayer* source;
        std::deque<Tensor> frames;
    };
    std::vector<Input> m_inputs;
};

class Concat : public Join {
protected:
    Tensor join(const std::vector<Tensor>& frames) const override {
        int total = 0;
        for (const Tensor& frame : frames)
            total += frame.channels;
        Tensor output(1, frames.front().positions, total);
        Real* y = output.frame(0);
        for (int f = 0; f < output.positions; ++f)
            for (const Tensor& frame : frames)
                y = std::copy_n(frame.frame(0) + f * frame.channels, frame.channels, y);
        return output;
    }
};

class Arithmetic : public Join {
public:
    using Join::Join;

protected:
    Tensor join(const std::vector<Tensor>& frames) const override {
        Tensor result = frames.front();
        for (std::size_t i = 1; i < frames.size(); ++i)
            for (int n = 0; n < result.frameSize(); ++n)
                apply(frames[i].frame(0)[n], result.frame(0)[n]);
        return result;
    }

private:
    void apply(Real x, Real& result) const {
        switch (m_layer.code) {
        case 0:
            result = result * x;
            break;
        case 1:
            result = x / result;
            break;
        case 2:
            result = result + x;
            break;
        case 3:
            result = x - result;
            break;
        default:
            break;
        }
    }
};

} // namespace

std::unique_ptr<ReferenceLayer> makeReferenceLayer(const LayerDescription& layer, int version) {
    switch (layer.kind) {
    case 2:
    case 3:
    case 15:
        return makeReferenceConvolution(layer, version);
    case 7:
        return std::make_unique<Norm>(layer, version);
    case 9:
        return std::make_unique<Concat>();
    case 14:
        return std::make_unique<Dense>(layer);
    case 16:
        return std::make_unique<PreNorm>(layer);
    case 18:
        return std::make_unique<Arithmetic>(layer);
    case 19:
        return std::make_unique<SelfAttention>(layer, version);
    case 22:
        return std::make_unique<FrequencyRescale>(layer);
    case 23:
        return std::make_unique<ARPreNorm>(layer);
    default:
        return std::make_unique<Activation>(layer);
    }
}

} // namespace sorvane::test
