#pragma once

#include "reference/random_network.h"

#include <string>

namespace sorvane::test {

// What the comparisons have seen, to show that they compare something.
struct ComparisonCounts {
    int networksWithOutput = 0;
    double values = 0.0;
    double looseValues = 0.0; // whose tolerance is above a hundredth of the frame's magnitude
};

// Runs a network in the engine and in the reference, on random frames of `seed`: frame by frame, and
// after a reset in groups of 0 to 5 frames where the network allows groups. Returns the first
// difference, or nothing.
std::string differenceToReference(const NetworkCase& network, unsigned seed,
                                  ComparisonCounts& counts);

} // namespace sorvane::test
