#include "reference/reference_layers.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace sorvane::test {

Tensor::Tensor(int t, int f, int c)
    : frames(t), positions(f), channels(c), values(static_cast<std::size_t>(t * f * c)) {}

void FrameList::append(const Real* frame, int frameSize) {
    m_frameSize = frameSize;
    ++m_count;
    m_values.insert(m_values.end(), frame, frame + frameSize);
}

void FrameList::clear() {
    m_values.clear();
    m_count = 0;
}

const Real* FrameList::operator[](int index) const {
    return index < 0 ? nullptr : m_values.data() + index * m_frameSize;
}

void ReferenceLayer::flush() {
    for (ReferenceLayer* successor : m_successors)
        successor->flush();
}

int ReferenceLayer::latency(int scale) const {
    std::vector<int> latencies;
    for (const ReferenceLayer* successor : m_successors)
        latencies.push_back(successor->latency(scale));
    return latencies.empty() ? 0 : *std::max_element(latencies.begin(), latencies.end());
}

void ReferenceLayer::addSource(const ReferenceLayer*) {}

bool ReferenceLayer::emit(const Tensor& output) const {
    bool reached = false;
    for (ReferenceLayer* successor : m_successors)
        reached = successor->forward(output, this) || reached;
    return reached;
}

namespace {

class InputLayer : public ReferenceLayer {
public:
    bool forward(const Tensor& input, const ReferenceLayer*) override { return emit(input); }
};

class OutputLayer : public ReferenceLayer {
public:
    bool forward(const Tensor& input, const ReferenceLayer*) override {
        arrived.push_back(input);
        return true;
    }
    void reset() override { arrived.clear(); }

    std::vector<Tensor> arrived;
};

} // namespace

ReferenceNetwork::ReferenceNetwork(const NetworkDescription& description) {
    std::map<std::string, ReferenceLayer*> byName;
    m_layers.push_back(std::make_unique<InputLayer>());
    byName["input"] = m_layers.front().get();
    for (const LayerDescription& layer : description.layers) {
        m_layers.push_back(makeReferenceLayer(layer, description.version));
        for (const std::string& input : layer.inputs) {
            byName.at(input)->addSuccessor(m_layers.back().get());
            m_layers.back()->addSource(byName.at(input));
        }
        byName[layer.name] = m_layers.back().get();
    }
    m_latency = m_layers.front()->latency(1);
    auto output = std::make_unique<OutputLayer>();
    m_arrived = &output->arrived;
    byName.at(description.outputSource)->addSuccessor(output.get());
    m_layers.push_back(std::move(output));
}

ReferenceNetwork::~ReferenceNetwork() = default;

std::optional<Tensor> ReferenceNetwork::run(const Tensor& input) {
    m_layers.front()->forward(input, nullptr);
    if (m_arrived->empty())
        return std::nullopt;
    Tensor result(0, m_arrived->front().positions, m_arrived->front().channels);
    for (const Tensor& tensor : *m_arrived) {
        result.frames += tensor.frames;
        result.values.insert(result.values.end(), tensor.values.begin(), tensor.values.end());
    }
    m_arrived->clear();
    return result;
}

void ReferenceNetwork::reset() {
    for (const std::unique_ptr<ReferenceLayer>& layer : m_layers)
        layer->reset();
}

} // namespace sorvane::test
