#pragma once

#include "reference/network_description.h"

#include <random>
#include <vector>

namespace sorvane::test {

// The same numbers on every platform.
class Random {
public:
    explicit Random(unsigned seed) : m_generator(seed) {}

    int between(int low, int high) {
        return low + static_cast<int>(m_generator() % static_cast<unsigned>(high - low + 1));
    }
    double uniform(double low, double high) {
        return low + (high - low) * (static_cast<double>(m_generator()) / 4294967296.0);
    }
    bool chance(double probability) { return uniform(0.0, 1.0) < probability; }
    template <class T>
    const T& pick(const std::vector<T>& items) {
        return *(items.begin() + between(0, static_cast<int>(items.size()) - 1));
    }

private:
    std::mt19937 m_generator;
};

// A tensor of random values between -amplitude and amplitude. Stored as halves it has the values
// that the file's words stand for.
FileTensor randomTensor(Random& random, const std::vector<int>& shape, double amplitude,
                        int storage = 1);

// Makes a valid network of 3 to 20 layers of the given kinds: all weights fit, values stay
// moderate, and divisors keep away from zero. A kind that is named more often is taken more often.
NetworkDescription randomNetwork(unsigned seed, const std::vector<int>& kinds);

} // namespace sorvane::test
