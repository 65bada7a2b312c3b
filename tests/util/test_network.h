#pragma once

#include "util/reference_chain.h"

namespace sorvane::test {

// A convolution over time alone, the same at every frequency position, with a sigmoid behind it if
// wanted: as layers of a model file and as a plain computation.
//   y[n] = bias + sum over k of x[n - kernelT + 1 + k] weights[k], for n = delay, delay + 1...
struct TestNetwork {
    int kernelT = 1;
    int delay = 0;
    int inColumns = 1;
    int outColumns = 1;
    bool sigmoid = false;
    std::vector<float> weights{}; // [kernelT][inColumns][outColumns]
    std::vector<float> bias{};

    // Gives weights and bias random values up to `scale`.
    void randomise(unsigned seed, double scale);
    void addTo(ModelFile& model) const;
    // Each has a stream of its own.
    Network reference() const;
};

} // namespace sorvane::test
