#pragma once

#include "reference/network_description.h"
#include "reference/real.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

// A second implementation of every layer, written to be obviously right. Each output is computed by
// its direct formula from the list of all frames that the layer has got: no rings, no running sums.
// Only the order in which frames travel through the graph is that of the engine, so that each call
// gives the same frames.
namespace sorvane::test {

// [frames, positions, channels], channels fastest.
struct Tensor {
    Tensor() = default;
    Tensor(int t, int f, int c);

    int frameSize() const { return positions * channels; }
    Real* frame(int t) { return values.data() + t * frameSize(); }
    const Real* frame(int t) const { return values.data() + t * frameSize(); }

    int frames = 0;
    int positions = 0;
    int channels = 0;
    std::vector<Real> values;
};

class ReferenceLayer {
public:
    explicit ReferenceLayer(const LayerDescription& layer = {}) : m_layer(layer) {}
    virtual ~ReferenceLayer() = default;

    // Takes all frames of `input`, which `source` hands on. True when something reached the output.
    virtual bool forward(const Tensor& input, const ReferenceLayer* source) = 0;
    // A tick on which a layer in front had nothing to hand on.
    virtual void flush();
    virtual void reset() {}
    // The longest delay from here on, in network input frames; one frame here stands for `scale`.
    virtual int latency(int scale) const;
    // For the layers with several inputs; called once for each, in their order.
    virtual void addSource(const ReferenceLayer* source);

    void addSuccessor(ReferenceLayer* layer) { m_successors.push_back(layer); }

protected:
    bool emit(const Tensor& output) const;

    LayerDescription m_layer;

private:
    std::vector<ReferenceLayer*> m_successors;
};

// All frames of one stream; a frame before the first is null.
class FrameList {
public:
    void append(const Real* frame, int frameSize);
    void clear();
    int size() const { return m_count; }
    const Real* operator[](int index) const;

private:
    std::vector<Real> m_values;
    int m_frameSize = 0;
    int m_count = 0;
};

std::unique_ptr<ReferenceLayer> makeReferenceLayer(const LayerDescription& layer, int version);
// The share of makeReferenceLayer() for the kinds 2, 3 and 15; null for others.
std::unique_ptr<ReferenceLayer> makeReferenceConvolution(const LayerDescription& layer,
                                                         int version);

class ReferenceNetwork {
public:
    explicit ReferenceNetwork(const NetworkDescription& description);
    ~ReferenceNetwork();

    // What reaches the output for this input, joined along the frames; none for nothing.
    std::optional<Tensor> run(const Tensor& input);
    void reset();
    int latency() const { return m_latency; }

private:
    std::vector<std::unique_ptr<ReferenceLayer>> m_layers; // input first, output last
    std::vector<Tensor>* m_arrived = nullptr;
    int m_latency = 0;
};

} // namespace sorvane::test
