#pragma once

#include "model/neural_model.h"
#include "reference/network_description.h"
#include "reference/random_network.h"
#include "reference/reference_layers.h"

#include <string>
#include <vector>

namespace sorvane::test {

struct EngineResult {
    std::vector<int> shape; // empty when there is no result
    std::vector<float> values;
};

// A network in the engine's own classes.
class EngineNetwork {
public:
    // Throws std::runtime_error when the engine refuses the file.
    explicit EngineNetwork(const ModelFile& file);

    EngineResult run(const Tensor& input);
    void reset() { m_model.reset(); }
    int latency() const { return m_model.latencyFrames; }

private:
    NeuralModel<float> m_model;
};

// What the comparisons have seen, to show that they compare something.
struct ComparisonCounts {
    int networks = 0;
    int networksWithOutput = 0;
    double values = 0.0;
    double looseValues = 0.0;  // whose tolerance is above a hundredth of the frame's magnitude
    double largestError = 0.0; // in tolerances
};

// Runs a network in the engine and in the reference, on the same random frames of `seed`: frame by
// frame, and after a reset in groups of 0 to 5 frames where the network allows groups. Returns the
// first difference, or nothing.
std::string differenceToReference(const NetworkDescription& network, unsigned seed,
                                  ComparisonCounts& counts);

} // namespace sorvane::test
