#include "util/test_network.h"

#include <cmath>
#include <deque>

namespace sorvane::test {

void TestNetwork::randomise(unsigned seed, double scale) {
    weights = noise(1, kernelT * inColumns * outColumns, seed, scale)[0];
    bias = noise(1, outColumns, seed + 1, scale)[0];
}

void TestNetwork::addTo(ModelFile& model) const {
    model.layers = {conv("conv", "input", {{kernelT, 1, inColumns, outColumns}, weights},
                         {{outColumns}, bias}, {.delay = delay})};
    if (sigmoid)
        model.layers.push_back(activation("sigmoid", 6, "conv"));
    model.outputSource = model.layers.back().name;
}

Network TestNetwork::reference() const {
    return [net = *this, history = std::deque<PackedFrame>(),
            count = 0](const PackedFrame& frame) mutable -> std::vector<PackedFrame> {
        const auto outputs = static_cast<std::size_t>(net.outColumns);
        if (history.empty())
            history.assign(static_cast<std::size_t>(net.kernelT),
                           PackedFrame(frame.size(), std::vector<double>(frame[0].size(), 0.0)));
        history.pop_front();
        history.push_back(frame);
        if (count++ < net.delay)
            return {};
        PackedFrame result(frame.size(), {net.bias.begin(), net.bias.end()});
        for (std::size_t row = 0; row < frame.size(); ++row) {
            auto weight = net.weights.begin();
            for (const PackedFrame& past : history)
                for (const double value : past[row])
                    for (std::size_t c = 0; c < outputs; ++c)
                        result[row][c] += value * static_cast<double>(*weight++);
            if (net.sigmoid)
                for (double& value : result[row])
                    value = 1.0 / (1.0 + std::exp(-value));
        }
        return {result};
    };
}

} // namespace sorvane::test
