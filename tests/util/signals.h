#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace sorvane::test {

// Audio as [channel][sample].
using AudioRows = std::vector<std::vector<float>>;

// White noise, uniform between -amplitude and amplitude, different in each channel. The same on
// every platform.
inline AudioRows noise(int channels, int length, unsigned seed, double amplitude = 0.5) {
    std::mt19937 random(seed);
    AudioRows rows(static_cast<std::size_t>(channels));
    for (std::vector<float>& row : rows)
        for (int i = 0; i < length; ++i)
            row.push_back(static_cast<float>((static_cast<double>(random()) / 2147483648.0 - 1.0) *
                                             amplitude));
    return rows;
}

inline std::vector<float> sine(int length, double frequency, double sampleRate,
                               double amplitude = 0.5) {
    std::vector<float> row;
    for (int i = 0; i < length; ++i)
        row.push_back(static_cast<float>(
            amplitude * std::sin(2.0 * std::numbers::pi * frequency * i / sampleRate)));
    return row;
}

inline std::vector<float> impulse(int length, int position, float amplitude = 1.0F) {
    std::vector<float> row(static_cast<std::size_t>(length), 0.0F);
    row[static_cast<std::size_t>(position)] = amplitude;
    return row;
}

// Samples `begin` up to `end - 1` of every channel.
inline AudioRows slice(const AudioRows& audio, std::size_t begin, std::size_t end) {
    AudioRows rows;
    for (const std::vector<float>& row : audio)
        rows.emplace_back(row.begin() + static_cast<std::ptrdiff_t>(begin),
                          row.begin() + static_cast<std::ptrdiff_t>(end));
    return rows;
}

} // namespace sorvane::test
