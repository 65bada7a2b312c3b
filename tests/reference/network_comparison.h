#pragma once

#include "model/neural_model.h"
#include "reference/network_description.h"
#include "reference/random_network.h"
#include "reference/reference_layers.h"

#include <optional>
#include <string>
#include <vector>

namespace sorvane::test {

// A network that runs in the engine, driven through the exported calls.
class EngineNetwork {
public:
    // Throws std::runtime_error when the engine refuses the file.
    explicit EngineNetwork(const ModelFile& file);
    ~EngineNetwork();
    EngineNetwork(const EngineNetwork&) = delete;
    EngineNetwork& operator=(const EngineNetwork&) = delete;

    struct Result {
        std::vector<int> shape; // empty when there is no result
        std::vector<float> values;
    };
    Result run(const Tensor& input);
    void reset();
    int latency() const;

private:
    void* m_model;
};

// A network in the engine's own classes, whose layers compute with the flat operations of the vector
// layer in place of the compound ones that equal them.
class FlatNetwork {
public:
    explicit FlatNetwork(const ModelFile& file);
    EngineNetwork::Result run(const Tensor& input);
    void reset();
    int latency() const;

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

// Random frames up to full scale, some of them silent or nearly so.
Tensor randomFrames(Random& random, int frames, int positions, int channels);

// Runs a network in the engine (or as `Network` does) and in the reference, on the same random frames of `seed`: frame by
// frame, and after a reset in groups of 0 to 5 frames where the network allows groups. Returns the
// first difference, or nothing.
template <class Network = EngineNetwork>
std::string differenceToReference(const NetworkDescription& network, unsigned seed,
                                  ComparisonCounts& counts);

extern template std::string differenceToReference<EngineNetwork>(const NetworkDescription&,
                                                                 unsigned, ComparisonCounts&);
extern template std::string differenceToReference<FlatNetwork>(const NetworkDescription&, unsigned,
                                                               ComparisonCounts&);

} // namespace sorvane::test
