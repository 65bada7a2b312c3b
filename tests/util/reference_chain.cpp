#include "util/reference_chain.h"

#include <algorithm>
#include <cmath>
#include <list>
#include <numbers>
#include <utility>

namespace sorvane::test {

namespace {

constexpr double pi = std::numbers::pi;

int sizeOf(const Row& row) {
    return static_cast<int>(row.size());
}
std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

// exp(i 2 pi n / length) for all n below length.
SpectrumRow unitCircle(int length) {
    SpectrumRow circle;
    for (int n = 0; n < length; ++n)
        circle.push_back(std::polar(1.0, 2.0 * pi * n / length));
    return circle;
}

int powerOfTwoWithin(int length) {
    int power = 1;
    while (2 * power <= length)
        power *= 2;
    return power;
}

bool isComplexPacking(int code) {
    return code == 4 || code == 6;
}
bool hasSplit(const FilePacking& packing) {
    return packing.code == 2 || packing.code == 6;
}
int lowBins(const FilePacking& packing) {
    return hasSplit(packing) ? packing.split : 0;
}
int packedBins(const FilePacking& packing) {
    return hasSplit(packing) ? packing.split + packing.rest : packing.bins;
}
int groupSize(const FilePacking& packing) {
    return packing.code == 6 ? packing.pool : 1;
}

int packedRows(const FilePacking& packing) {
    const int low = lowBins(packing);
    return packing.code == 6 ? low + (packedBins(packing) - low) / packing.pool
                             : packedBins(packing) + 3 * low;
}

Spectrum scaled(const Spectrum& signal, double factor) {
    Spectrum result = signal;
    for (SpectrumRow& row : result)
        for (auto& value : row)
            value *= factor;
    return result;
}

// a + factor * b
Spectrum addScaled(const Spectrum& a, double factor, const Spectrum& b) {
    Spectrum result = a;
    for (std::size_t c = 0; c < a.size(); ++c)
        for (std::size_t i = 0; i < a[c].size(); ++i)
            result[c][i] += factor * b[c][i];
    return result;
}

} // namespace

Rows toDouble(const AudioRows& audio) {
    Rows rows;
    for (const auto& row : audio)
        rows.emplace_back(row.begin(), row.end());
    return rows;
}

SpectrumRow directForward(const Row& samples) {
    const int length = powerOfTwoWithin(sizeOf(samples));
    const SpectrumRow circle = unitCircle(length);
    SpectrumRow bins(samples.size() / 2 + 1);
    for (int k = 0; k <= length / 2; ++k)
        for (int n = 0; n < length; ++n)
            bins[at(k)] += samples[at(n)] * std::conj(circle[at(n * k % length)]);
    return bins;
}

Row directInverse(const SpectrumRow& bins) {
    Row samples(2 * bins.size() - 2, 0.0);
    const int length = powerOfTwoWithin(sizeOf(samples));
    const SpectrumRow circle = unitCircle(length);
    for (int n = 0; n < length; ++n) {
        for (int k = 1; k < length / 2; ++k)
            samples[at(n)] += 2.0 * (bins[at(k)] * circle[at(n * k % length)]).real();
        samples[at(n)] += bins[0].real() + bins[at(length / 2)].real() * (n % 2 == 0 ? 1.0 : -1.0);
    }
    return samples;
}

static Row hannWindow(int length) {
    Row window;
    for (int n = 0; n < length; ++n)
        window.push_back(0.5 - 0.5 * std::cos((n + 0.5) * 2.0 * pi / length));
    return window;
}

static bool framesAreLong(const TransformSizes& sizes) {
    return sizes.frameLength >= 3 * sizes.hop;
}

static Row analysisWindow(const TransformSizes& sizes) {
    Row window = hannWindow(sizes.frameLength);
    if (!framesAreLong(sizes))
        for (double& value : window)
            value = std::sqrt(value);
    return window;
}

static Row synthesisWindow(const TransformSizes& sizes) {
    if (!framesAreLong(sizes)) {
        Row window = analysisWindow(sizes);
        for (double& value : window)
            value /= sizes.fftLength;
        return window;
    }
    // A short window in the middle, the long one divided out.
    const Row longWindow = hannWindow(sizes.frameLength);
    const Row shortWindow = hannWindow(2 * sizes.hop);
    const int start = (sizes.frameLength - 2 * sizes.hop) / 2;
    Row window(longWindow.size(), 0.0);
    for (int n = 0; n < 2 * sizes.hop; ++n)
        window[at(start + n)] =
            shortWindow[at(n)] / (longWindow[at(start + n)] * sizes.frameLength);
    return window;
}

Rows overlapAdd(const Rows& input, const TransformSizes& sizes, int outputChannels,
                const SpectralStage& stage) {
    const int tailHops = framesAreLong(sizes) ? 1 : 0;
    const int padding = sizes.fftLength - sizes.frameLength;
    const Row analysis = analysisWindow(sizes);
    const Row synthesis = synthesisWindow(sizes);

    Rows stream = input;
    for (Row& row : stream)
        row.insert(row.begin(), at(sizes.frameLength - (tailHops + 1) * sizes.hop), 0.0);

    std::vector<Rows> frames;
    for (int start = 0; start + sizes.frameLength <= sizeOf(stream[0]); start += sizes.hop) {
        Spectrum spectrum;
        for (const Row& row : stream) {
            Row frame(at(sizes.fftLength), 0.0);
            for (int n = 0; n < sizes.frameLength; ++n)
                frame[at(padding + n)] = row[at(start + n)] * analysis[at(n)];
            spectrum.push_back(directForward(frame));
        }
        for (const Spectrum& result : stage(spectrum)) {
            Rows frame;
            for (const SpectrumRow& bins : result) {
                const Row time = directInverse(bins);
                Row segment(time.begin() + padding, time.end());
                for (int n = 0; n < sizes.frameLength; ++n)
                    segment[at(n)] *= synthesis[at(n)];
                frame.push_back(segment);
            }
            frames.push_back(frame);
        }
    }

    // Each hop of output is the sum of a slice of one frame and an earlier slice of the next.
    Rows output(at(outputChannels));
    const int position = sizes.frameLength - (tailHops + 1) * sizes.hop;
    for (std::size_t k = 0; k + 1 < frames.size(); ++k)
        for (std::size_t c = 0; c < output.size(); ++c)
            for (int n = 0; n < sizes.hop; ++n)
                output[c].push_back(frames[k][c][at(position + n)] +
                                    frames[k + 1][c][at(position - sizes.hop + n)]);
    return output;
}

PackedFrame packFrame(const ModelFile& model, const Spectrum& frame) {
    const FilePacking& packing = model.inputPacking;
    const bool complexValues = isComplexPacking(packing.code);
    const int low = lowBins(packing);
    const int columns = model.numInputChannels * (complexValues ? 2 : 1);
    PackedFrame packed(at(packedRows(packing)), std::vector<double>(at(columns), 0.0));
    for (int c = 0; c < columns; ++c) {
        const SpectrumRow& source = frame[at(complexValues ? c / 2 : c)];
        const auto bin = [&](int b) {
            return b < static_cast<int>(source.size()) ? source[at(b)] : std::complex<double>();
        };
        const auto part = [&](int b) { return c % 2 == 1 ? bin(b).imag() : bin(b).real(); };
        for (int row = 0; row < static_cast<int>(packed.size()); ++row) {
            double& value = packed[at(row)][at(c)];
            if (packing.code == 4 || (packing.code == 6 && row < low)) {
                value = part(row);
            } else if (packing.code == 6) {
                for (int i = 0; i < packing.pool; ++i)
                    value += part(low + (row - low) * packing.pool + i) / packing.pool;
            } else if (row >= 4 * low) {
                value = std::abs(bin(row - 3 * low));
            } else {
                const std::complex<double> z = bin(row / 4);
                const double parts[] = {z.real(), z.imag(), -z.real(), -z.imag()};
                value = std::max(0.0, parts[row % 4]);
            }
        }
    }
    return packed;
}

// The value of one bin within the packing; p(row, column) reads the packed frame.
template <typename Read>
static std::complex<double> unpackBin(int code, const FilePacking& layout, int b, const Read& p) {
    const int low = lowBins(layout);
    const int group = groupSize(layout);
    if (code == 4 || (code == 6 && b < low))
        return {p(b, 0), p(b, 1)};
    if (code == 6) {
        const int row = low + (b - low) / group;
        const double a = static_cast<double>((b - low) % group) / group;
        const bool hasNext = b + group < packedBins(layout);
        const auto blend = [&](int column) {
            return (1.0 - a) * p(row, column) + (hasNext ? a * p(row + 1, column) : 0.0);
        };
        return {blend(0), blend(1)};
    }
    if (b < low)
        return {p(4 * b, 0) - p(4 * b + 2, 0), p(4 * b + 1, 0) - p(4 * b + 3, 0)};
    return p(b + 3 * low, 0);
}

Spectrum unpackFrame(const ModelFile& model, const PackedFrame& packed, int bins, bool extendBand) {
    const int code = model.outputPacking.code;
    const std::size_t partsPerRow = isComplexPacking(code) ? 2 : 1;
    Spectrum result(packed[0].size() / partsPerRow);
    for (std::size_t r = 0; r < result.size(); ++r) {
        double level = 0.0;
        for (int b = 0; b < bins; ++b) {
            std::complex<double> value = level;
            if (b < packedBins(model.inputPacking))
                value = unpackBin(code, model.inputPacking, b, [&](int row, int column) {
                    return packed.at(at(row))[r * partsPerRow + at(column)];
                });
            if (extendBand)
                level = level * 0.98 + std::abs(value) * 0.02;
            result[r].push_back(value);
        }
    }
    return result;
}

static Spectrum adaptChannels(const Spectrum& signal, std::size_t channels) {
    if (signal.size() == channels)
        return signal;
    Spectrum mono = {signal[0]};
    for (std::size_t c = 1; c < signal.size(); ++c)
        mono = addScaled(mono, 1.0, {signal[c]});
    mono = scaled(mono, 1.0 / static_cast<double>(signal.size()));
    return Spectrum(std::max<std::size_t>(channels, 1), mono[0]);
}

static Spectrum applySensitivity(const Spectrum& mask, double sensitivity) {
    const double g = std::exp(sensitivity * 0.0075);
    Spectrum result = mask;
    for (SpectrumRow& row : result)
        for (auto& value : row) {
            const double x = std::abs(value);
            const double weight = g < 1.0 ? x + 1e-12 : 0.5 - 0.5 * std::cos(x * pi) + 1e-12;
            value *= std::pow(weight, g - 1.0);
        }
    return result;
}

namespace {

class ReferenceChain {
public:
    ReferenceChain(ModelFile modelFile, Network modelNetwork, ChainSettings chainSettings)
        : model(std::move(modelFile)),
          network(std::move(modelNetwork)),
          settings(std::move(chainSettings)) {}

    // One frame of the host's channels in, zero or more out.
    std::vector<Spectrum> operator()(const Spectrum& frame);

private:
    Spectrum mix(const Spectrum& input);

    ModelFile model;
    Network network;
    ChainSettings settings;
    std::list<Spectrum> pendingFrames;
    std::list<std::vector<Spectrum>> results; // [time][mask]
};

std::vector<Spectrum> ReferenceChain::operator()(const Spectrum& frame) {
    pendingFrames.push_back(frame);
    const auto bins = static_cast<int>(frame[0].size());
    const Spectrum modelFrame = adaptChannels(frame, at(model.numInputChannels));
    for (const PackedFrame& packed : network(packFrame(model, modelFrame))) {
        const Spectrum rows = unpackFrame(model, packed, bins, settings.extendBand);
        std::vector<Spectrum> masks;
        for (int mask = 0; mask < model.numMasks; ++mask)
            masks.emplace_back(rows.begin() + mask * model.numOutputChannels,
                               rows.begin() + (mask + 1) * model.numOutputChannels);
        results.push_back(masks);
    }
    std::vector<Spectrum> complete;
    while (!pendingFrames.empty() && !results.empty()) {
        complete.push_back(mix(pendingFrames.front()));
        pendingFrames.pop_front();
        results.pop_front();
    }
    return complete;
}

Spectrum ReferenceChain::mix(const Spectrum& input) {
    const bool spectra = model.outputMode != 0;
    Spectrum whole = input;
    if (!spectra)
        for (SpectrumRow& row : whole)
            std::fill(row.begin(), row.end(), 1.0);

    Spectrum remainder = whole;
    Spectrum sum = scaled(whole, 0.0);
    const std::size_t numMasks = results.front().size();
    for (std::size_t bus = 0; bus < numMasks; ++bus) {
        Spectrum mask = adaptChannels(results.front()[bus], input.size());
        if (!spectra)
            mask = applySensitivity(mask, settings.sensitivities[bus]);
        sum = addScaled(sum, settings.gains[bus], mask);
        remainder = addScaled(remainder, -1.0, mask);
    }
    if (!spectra)
        remainder = applySensitivity(remainder, settings.sensitivities[numMasks]);
    sum = addScaled(sum, settings.gains[numMasks], remainder);
    if (!spectra)
        for (std::size_t c = 0; c < sum.size(); ++c)
            for (std::size_t b = 0; b < sum[c].size(); ++b)
                sum[c][b] *= input[c][b];
    return sum;
}

// The model's sizes scaled to the host's rate.
TransformSizes hostSizes(const ModelFile& model, double hostRate) {
    const double octaves = std::ceil(std::log(hostRate / model.sampleRate) / std::log(2.0));
    const auto scale = [&](int size) {
        return static_cast<int>(std::nearbyint(size * std::exp2(octaves)));
    };
    return {scale(model.fftLength), scale(model.frameLength), scale(model.hop)};
}

} // namespace

Rows referenceProcess(const ModelFile& model, const Network& network, const ChainSettings& settings,
                      double hostRate, const AudioRows& input) {
    return overlapAdd(toDouble(input), hostSizes(model, hostRate), static_cast<int>(input.size()),
                      ReferenceChain(model, network, settings));
}

} // namespace sorvane::test
