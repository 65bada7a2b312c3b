#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace sorvane::plugins {

/// One channel, a fixed number of samples later. Memory is taken at construction only.
class DelayLine {
public:
    explicit DelayLine(int length) : ring(static_cast<std::size_t>(length), 0.0F) {}

    /// `output` may be `input`.
    void process(const float* input, float* output, int count) {
        if (ring.empty()) {
            std::copy_n(input, count, output);
            return;
        }
        for (int i = 0; i < count; ++i) {
            const float sample = input[i];
            output[i] = ring[position];
            ring[position] = sample;
            if (++position == ring.size())
                position = 0;
        }
    }

    void reset() { std::fill(ring.begin(), ring.end(), 0.0F); }

private:
    std::vector<float> ring;
    std::size_t position = 0;
};

} // namespace sorvane::plugins
