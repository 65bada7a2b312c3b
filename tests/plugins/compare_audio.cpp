// Tells whether one audio file is another one, late by a number of samples.
// usage: compare_audio REFERENCE OUTPUT LATENCY TOLERANCE
// Prints the largest difference; fails when it is above the tolerance, or when rate, channels or length
// differ, or nothing can be compared. With "any" for LATENCY the output may be longer, and the reference
// is looked for in it.

#include "tools/audio_files.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace {

using sorvane::test::AudioFile;

double distance(float a, float b) {
    const double result = std::abs(static_cast<double>(a) - static_cast<double>(b));
    return result <= 8.0 ? result : 8.0; // also for NaN
}

/// The largest difference of `count` samples from `start` and `offset` on.
double difference(const AudioFile& reference, std::size_t start, const AudioFile& output,
                  std::size_t offset, std::size_t count) {
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        largest =
            std::max(largest, distance(output.samples[offset + i], reference.samples[start + i]));
    return largest;
}

/// Where in the output the reference begins: where a stretch of its middle fits best.
std::size_t findStart(const AudioFile& reference, const AudioFile& output) {
    constexpr std::size_t stretch = 256;
    const std::size_t middle = reference.samples.size() / 2;
    std::size_t best = 0;
    double least = 8.0;
    for (std::size_t i = 0; i + reference.samples.size() <= output.samples.size(); ++i) {
        const double here = difference(reference, middle, output, i + middle, stretch);
        if (here < least) {
            least = here;
            best = i;
        }
    }
    return best;
}

double compare(const AudioFile& reference, const AudioFile& output, const std::string& latency) {
    if (reference.sampleRate != output.sampleRate || reference.channels != output.channels)
        throw std::runtime_error("rates or channels differ");
    const std::size_t length = reference.samples.size();
    if (output.samples.size() < length || (output.samples.size() > length && latency != "any"))
        throw std::runtime_error("lengths differ");
    if (latency == "any")
        return difference(reference, 0, output, findStart(reference, output), length);
    const std::size_t shift = std::stoul(latency) * static_cast<std::size_t>(reference.channels);
    if (length <= 2 * shift)
        throw std::runtime_error("too short to be compared");
    double largest = difference(reference, 0, output, shift, length - shift);
    for (std::size_t i = 0; i < shift; ++i)
        largest = std::max(largest, distance(output.samples[i], 0.0F));
    return largest;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: compare_audio REFERENCE OUTPUT LATENCY TOLERANCE\n", stderr);
        return 2;
    }
    try {
        const double largest =
            compare(sorvane::test::readAudio(argv[1]), sorvane::test::readAudio(argv[2]), argv[3]);
        std::printf("%s: largest difference %.3g\n", argv[2], largest);
        return largest <= std::stod(argv[4]) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[2], error.what());
        return 1;
    }
}
