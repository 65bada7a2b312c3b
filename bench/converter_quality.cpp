// converter_quality: writes a table of what the sample-rate converter does to sines, beside libsoxr's
// high-quality setting on the same signals, and of the time that both take.
//
// Each sine of a sweep is converted; the least-squares fit of a sine of its frequency is what
// passed, and what is left over is alias and image. Levels are relative to the input's sine.

#include "audio/sample_rate_conversion.h"

#include <soxr.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Samples = std::vector<float>;
using Convert = std::function<Samples(const Samples&, double inputRate, double outputRate)>;

Samples ours(const Samples& input, double inputRate, double outputRate) {
    sorvane::SampleRateConversion converter;
    converter.setFormats(sorvane::defaultFormat(1, inputRate),
                         sorvane::defaultFormat(1, outputRate));
    constexpr int blockLength = 1024;
    sorvane::Signal32 block(1, blockLength), output;
    Samples result;
    for (std::size_t start = 0; start + blockLength <= input.size(); start += blockLength) {
        std::copy_n(input.data() + start, blockLength, block.channelData(0));
        converter.process(output, block);
        if (!output.isEmpty())
            result.insert(result.end(), output.row(0), output.row(0) + output.length);
    }
    return result;
}

Samples soxrHigh(const Samples& input, double inputRate, double outputRate) {
    Samples result(
        static_cast<std::size_t>(static_cast<double>(input.size()) * outputRate / inputRate + 1));
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    std::size_t read = 0, written = 0;
    if (const soxr_error_t error =
            soxr_oneshot(inputRate, outputRate, 1, input.data(), input.size(), &read, result.data(),
                         result.size(), &written, nullptr, &quality, nullptr))
        throw std::runtime_error(error);
    result.resize(written);
    return result;
}

Samples sine(double frequency, double rate, int length) {
    Samples samples;
    for (int i = 0; i < length; ++i)
        samples.push_back(
            static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * frequency / rate * i)));
    return samples;
}

double decibels(double amplitude) {
    return 20.0 * std::log10(std::max(amplitude, 1e-12));
}

struct Level {
    double passed; // amplitude of the sine itself, relative to the input's
    double rest;   // of all else, by power
};

/// What is in the middle of `samples`, away from both ends.
Level measure(const Samples& samples, double frequency, double rate) {
    const std::size_t begin = samples.size() / 4, end = 3 * samples.size() / 4;
    const double step = 2.0 * std::numbers::pi * frequency / rate;
    const auto sum = [&](auto&& term) {
        double total = 0.0;
        for (std::size_t i = begin; i < end; ++i)
            total += term(static_cast<double>(samples[i]), step * static_cast<double>(i));
        return total;
    };
    const double ss = sum([](double, double a) { return std::sin(a) * std::sin(a); });
    const double cc = sum([](double, double a) { return std::cos(a) * std::cos(a); });
    const double sc = sum([](double, double a) { return std::sin(a) * std::cos(a); });
    const double ys = sum([](double y, double a) { return y * std::sin(a); });
    const double yc = sum([](double y, double a) { return y * std::cos(a); });
    const double determinant = ss * cc - sc * sc;
    const bool fits = frequency < rate / 2;
    const double s = fits ? (ys * cc - yc * sc) / determinant : 0.0;
    const double c = fits ? (yc * ss - ys * sc) / determinant : 0.0;
    const double power = sum([&](double y, double a) {
        const double left = y - s * std::sin(a) - c * std::cos(a);
        return left * left;
    });
    return {std::hypot(s, c) / 0.5,
            std::sqrt(2.0 * power / static_cast<double>(end - begin)) / 0.5};
}

struct Quality {
    double rippleHalf = 0, rippleMost = 0, edge = 0; // dB
    double rejection = 1e9;                          // dB, the least
    double aliasInBand = -1e9, aliasWorst = -1e9;    // dB
};

/// Pass band: to 0.5 and 0.8 of the lower Nyquist frequency; stop band: from 1.2 times it on, and
/// the images of the pass band.
Quality sweep(const Convert& convert, double inputRate, double outputRate) {
    constexpr int steps = 240;
    const double nyquist = std::min(inputRate, outputRate) / 2;
    Quality quality;
    for (int i = 0; i < steps; ++i) {
        const double frequency = (i + 0.37) / steps * inputRate / 2;
        const Samples output = convert(sine(frequency, inputRate, static_cast<int>(inputRate / 5)),
                                       inputRate, outputRate);
        const Level level = measure(output, frequency, outputRate);
        const double ripple = std::abs(decibels(level.passed));
        const double alias = decibels(level.rest);
        const double relative = frequency / nyquist;
        if (relative <= 0.5)
            quality.rippleHalf = std::max(quality.rippleHalf, ripple);
        if (relative <= 0.8) {
            quality.rippleMost = std::max(quality.rippleMost, ripple);
            quality.aliasInBand = std::max(quality.aliasInBand, alias);
        }
        if (relative <= 0.95)
            quality.edge = decibels(level.passed);
        // Nothing lies above the band when the rate goes up: there the images are to be rejected.
        if (relative >= 1.2 || (outputRate > inputRate && relative <= 0.8))
            quality.rejection = std::min(quality.rejection, -alias);
        quality.aliasWorst = std::max(quality.aliasWorst, alias);
    }
    return quality;
}

/// Median times of both in turns, as a ratio.
double timeRatio(double inputRate, double outputRate) {
    const Samples input = sine(1000, inputRate, static_cast<int>(inputRate) * 5);
    std::vector<double> times[2];
    for (int i = 0; i < 11; ++i) {
        for (const int side : {0, 1}) {
            const auto start = std::chrono::steady_clock::now();
            const Samples output = side == 0 ? ours(input, inputRate, outputRate)
                                             : soxrHigh(input, inputRate, outputRate);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            times[side].push_back(took.count());
        }
    }
    for (auto& list : times)
        std::nth_element(list.begin(), list.begin() + 5, list.end());
    return times[0][5] / times[1][5];
}

void writeRow(const char* name, double inputRate, double outputRate, const Convert& convert) {
    const Quality q = sweep(convert, inputRate, outputRate);
    // Between 48,000 and 44,100 Hz no frequency lies so far above the band.
    const std::string rejection = q.rejection < 1e9 ? std::to_string(std::lround(q.rejection)) : "";
    std::printf("| %.0f to %.0f | %s | %.3f | %.3f | %.1f | %s | %.0f | %.0f |", inputRate,
                outputRate, name, q.rippleHalf, q.rippleMost, q.edge, rejection.c_str(),
                q.aliasInBand, q.aliasWorst);
}

} // namespace

int main() {
    std::puts("| Hz | converter | ripple to 0.5 (dB) | ripple to 0.8 (dB) | gain at 0.95 (dB) | "
              "rejection (dB) | worst alias to 0.8 (dB) | worst alias (dB) | time |\n"
              "|---|---|---|---|---|---|---|---|---|");
    const std::pair<double, double> rates[] = {
        {44100, 48000}, {48000, 44100}, {48000, 16000}, {16000, 48000}};
    for (const auto& [inputRate, outputRate] : rates) {
        writeRow("SorvaneEngine", inputRate, outputRate, ours);
        std::printf(" %.2f |\n", timeRatio(inputRate, outputRate));
        writeRow("libsoxr, HQ", inputRate, outputRate, soxrHigh);
        std::puts(" 1 |");
    }
}
