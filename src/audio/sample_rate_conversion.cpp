#include "audio/sample_rate_conversion.h"

#include "support/vector_rows.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sorvane {

namespace {

constexpr double pi = 3.141592653589793;
constexpr int maxInt = std::numeric_limits<int>::max();

/// The nearest integer, ties to even; 0 for what isn't a length.
int roundedLength(double value) {
    return value > 0.0 && value < maxInt ? static_cast<int>(std::nearbyint(value)) : 0;
}

} // namespace

bool SampleRateConversion::setFormats(const AudioFormat& input, const AudioFormat& output) {
    const std::lock_guard guard(lock);
    if (inputFormat.numChannels() != outputFormat.numChannels())
        return false;
    BaseAudioProcessor::setFormats(input, output);
    makeFilters();
    reset();
    return true;
}

int SampleRateConversion::getLatency(int /*blockSize*/) {
    return filterLength / 2 + 1;
}

void SampleRateConversion::reset() {
    const std::lock_guard guard(lock);
    position = 0.0;
    inputQueue.clear();
    // Half a filter of silence centres the filter on the first sample.
    inputQueue.add(Signal32(inputFormat.numChannels(), filterLength / 2, 0.0F));
}

void SampleRateConversion::makeFilters() {
    const double inputRate = inputFormat.sampleRate;
    const double ratio = outputFormat.sampleRate / inputRate;
    const float cutoff = (cutoffPercent / 100.0F) * static_cast<float>(std::min(ratio, 1.0));
    const int length = roundedLength(static_cast<double>(filterLengthMs) * inputRate / 1000.0);
    const int half = length / 2;
    const double w = static_cast<double>(cutoff) * pi;
    const auto sigma = static_cast<double>(static_cast<float>(length) * 0.1F);

    phaseMask = numPhases - 1;
    filterLength = length;
    unityPhase = -1;
    filterBank = Signal64(numPhases, length);
    for (int p = 0; p < numPhases; ++p) {
        const double delay = static_cast<double>(p) / numPhases;
        double* row = filterBank.channelData(p);
        if (length > 0)
            requireMemory(row);
        for (int k = 0; k < length; ++k) {
            const double x = (k - half) - delay;
            const double a = w * x;
            const double sinc = a == 0.0 ? 1.0 : std::sin(a) / a;
            const double gauss = std::exp(std::pow(x / sigma, 2.0) * -0.5);
            row[k] = gauss * static_cast<double>(cutoff) * sinc;
        }
        if (std::fmod(delay - half, 1.0) == 0.0 && cutoff == 1.0F)
            unityPhase = p;
    }
}

/// The output at `index` phases after the start of `samples`, of which there are `length`.
double SampleRateConversion::filterAt(std::int64_t index, const double* samples, int length) const {
    const int taps = filterLength;
    const auto phase = static_cast<int>(index & phaseMask);
    // A stream's own positions always leave a filter's length; rounding gets no way past the end.
    const std::int64_t base =
        std::min<std::int64_t>(index / numPhases, std::int64_t{length} - std::max(taps, 1));
    if (phase == unityPhase)
        return samples[base + taps / 2];
    if (taps <= 0)
        return 0.0;
    double sum = 0.0;
    check(ippsDotProd_64f(samples + base, filterBank.row(phase), taps, &sum));
    return sum;
}

void SampleRateConversion::process(Signal32& output, const Signal32& input) {
    if (!input.data || input.length == 0) {
        output = Signal32();
        return;
    }
    const std::lock_guard guard(lock);
    const int numChannels = inputFormat.numChannels();
    requireShape(input.channels == numChannels);
    const double ratio = inputFormat.sampleRate / outputFormat.sampleRate;
    if (!(ratio > 0.0) || std::isinf(ratio) || numChannels < 1) {
        output = Signal32();
        return;
    }
    const std::int64_t newPending = inputQueue.pending() + input.length;
    const double room = static_cast<double>(newPending - filterLength - 1) / ratio;

    // Both double signals must fit a block of the vector layer.
    const double most = static_cast<double>(maxInt) / sizeof(double) / numChannels - 8.0;
    requireShape(room < most && static_cast<double>(newPending) < most);
    inputQueue.add(input);
    if (room < 1.0) {
        output = Signal32();
        return;
    }

    const auto available = static_cast<int>(newPending);
    const auto count = static_cast<int>(room);
    const Signal64 block = inputQueue.read(available).toSignal64();
    Signal64 result(numChannels, count);
    if (ratio == 1.0) {
        for (int c = 0; c < numChannels; ++c) {
            requireMemory(block.row(c));
            copyElements(block.row(c) + filterLength / 2, result.channelData(c), count);
        }
        position += count;
    } else {
        resample(result, block, ratio);
    }
    const auto consumed = static_cast<int>(position);
    position -= consumed;
    inputQueue.discard(consumed);
    output = result.toSignal32();
}

void SampleRateConversion::resample(Signal64& result, const Signal64& block, double ratio) {
    result.detach();
    const std::vector<double*>& rows = result.channelPointers();
    requireMemory(block.row(0));
    requireMemory(rows.front());
    for (int i = 0; i < result.length; ++i) {
        const double scaled = numPhases * position;
        const auto index = static_cast<std::int64_t>(scaled);
        const auto fraction = static_cast<float>(scaled - static_cast<double>(index));
        for (int c = 0; c < result.channels; ++c) {
            const double a = filterAt(index, block.row(c), block.length);
            double value = a;
            if (interpolate) {
                const double b = filterAt(index + 1, block.row(c), block.length);
                value = (b - a) * static_cast<double>(fraction) + a;
            }
            rows[static_cast<std::size_t>(c)][i] = value;
        }
        position += ratio;
    }
}

} // namespace sorvane
