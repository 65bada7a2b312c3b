// Tells whether one audio file is another one, late by a number of samples.
// usage: compare_audio REFERENCE OUTPUT LATENCY TOLERANCE
// Prints the largest difference; fails when it is above the tolerance, or when rate, channels or length
// differ, or nothing can be compared. With "any" for LATENCY the output may be longer, and the reference
// is looked for in it.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sndfile.hh>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Audio {
    explicit Audio(const char* path) {
        SndfileHandle file(path);
        if (file.error() != 0)
            throw std::runtime_error(std::string("can't read ") + path);
        rate = file.samplerate();
        channels = static_cast<std::size_t>(file.channels());
        samples.resize(static_cast<std::size_t>(file.frames()) * channels);
        file.read(samples.data(), static_cast<sf_count_t>(samples.size()));
    }

    int rate = 0;
    std::size_t channels = 0;
    std::vector<double> samples;
};

double distance(double a, double b) {
    const double result = std::abs(a - b);
    return result <= 8.0 ? result : 8.0; // also for NaN
}

/// The largest difference of `count` samples from `start` and `offset` on.
double difference(const Audio& reference, std::size_t start, const Audio& output,
                  std::size_t offset, std::size_t count) {
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        largest =
            std::max(largest, distance(output.samples[offset + i], reference.samples[start + i]));
    return largest;
}

/// Where in the output the reference begins: where a stretch of its middle fits best.
std::size_t findStart(const Audio& reference, const Audio& output) {
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

double compare(const Audio& reference, const Audio& output, const std::string& latency) {
    if (reference.rate != output.rate || reference.channels != output.channels)
        throw std::runtime_error("rates or channels differ");
    const std::size_t length = reference.samples.size();
    if (output.samples.size() < length || (output.samples.size() > length && latency != "any"))
        throw std::runtime_error(std::to_string(output.samples.size() / output.channels) +
                                 " samples instead of " + std::to_string(length / output.channels));
    if (latency == "any")
        return difference(reference, 0, output, findStart(reference, output), length);
    const std::size_t shift = std::stoul(latency) * reference.channels;
    if (length <= 2 * shift)
        throw std::runtime_error("too short to be compared");
    double largest = difference(reference, 0, output, shift, length - shift);
    for (std::size_t i = 0; i < shift; ++i)
        largest = std::max(largest, distance(output.samples[i], 0.0));
    return largest;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: compare_audio REFERENCE OUTPUT LATENCY TOLERANCE\n", stderr);
        return 2;
    }
    try {
        const double largest = compare(Audio(argv[1]), Audio(argv[2]), argv[3]);
        std::printf("%s: largest difference %.3g\n", argv[2], largest);
        return largest <= std::strtod(argv[4], nullptr) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[2], error.what());
        return 1;
    }
}
