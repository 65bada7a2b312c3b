#pragma once

#include "util/model_file.h"

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
        return low + (high - low) * static_cast<double>(m_generator()) / 4294967296.0;
    }
    bool chance(double probability) { return uniform(0.0, 1.0) < probability; }
    template <typename T>
    T pick(const std::vector<T>& values) {
        return values[m_generator() % values.size()];
    }

private:
    std::mt19937 m_generator;
};

// Values up to `amplitude` that the storage can hold.
FileTensor randomTensor(Random& random, const std::vector<int>& shape, double amplitude,
                        int storage = 1);

struct NetworkCase {
    ModelFile file{};
    int positions = 1; // F and C of the input
    int channels = 1;
    bool singleFrames = false; // some layer reads groups of frames in a way of its own
    bool hasBursts = false;    // some layer gives several frames for one
    int mostFrames = 44;       // of a stream to try
};

// Layers of these kinds, as often as they are named, on an input of a few positions and channels: three
// to twenty of up to four channels, or fewer of more.
NetworkCase randomNetwork(unsigned seed, const std::vector<int>& kinds, int widest = 4);

} // namespace sorvane::test
