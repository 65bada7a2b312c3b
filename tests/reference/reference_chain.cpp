#include "reference/reference_chain.h"

#include "reference/reference_network.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace sorvane::test {

namespace {

constexpr double pi = std::numbers::pi;

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
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

// exp(i 2 pi n / length) for all n below length.
SpectrumRow unitCircle(int length) {
    SpectrumRow circle;
    for (int n = 0; n < length; ++n)
        circle.push_back(std::polar(1.0, 2.0 * pi * n / length));
    return circle;
}

// For a length that isn't a power of two only the largest power of two below takes part; the bins
// and samples past it are 0.
int usedLength(std::size_t length) {
    return static_cast<int>(std::bit_floor(length));
}

SpectrumRow directForward(const Row& samples) {
    const int length = usedLength(samples.size());
    const SpectrumRow circle = unitCircle(length);
    SpectrumRow bins(samples.size() / 2 + 1);
    for (int k = 0; k <= length / 2; ++k)
        for (int n = 0; n < length; ++n)
            bins[at(k)] += samples[at(n)] * std::conj(circle[at(k * n % length)]);
    return bins;
}

Row directInverse(const SpectrumRow& bins) {
    Row samples(2 * bins.size() - 2, 0.0);
    const int length = usedLength(samples.size());
    const SpectrumRow circle = unitCircle(length);
    for (int n = 0; n < length; ++n)
        for (int k = 0; k <= length / 2; ++k)
            samples[at(n)] += (bins[at(k)] * circle[at(k * n % length)]).real() *
                              (k % (length / 2) == 0 ? 1.0 : 2.0);
    return samples;
}

Row hannWindow(int length) {
    Row window;
    for (int n = 0; n < length; ++n)
        window.push_back(0.5 - 0.5 * std::cos((n + 0.5) * 2.0 * pi / length));
    return window;
}

Row analysisWindow(const TransformSizes& sizes) {
    Row window = hannWindow(sizes.frameLength);
    for (double& value : window)
        value = sizes.isLong() ? value : std::sqrt(value);
    return window;
}

Row synthesisWindow(const TransformSizes& sizes) {
    Row window = analysisWindow(sizes);
    for (double& value : window)
        value = sizes.isLong() ? 0.0 : value / sizes.fftLength;
    if (!sizes.isLong())
        return window;
    // A short window in the middle, the long one divided out.
    const Row longWindow = hannWindow(sizes.frameLength), shortWindow = hannWindow(2 * sizes.hop);
    const int start = (sizes.frameLength - 2 * sizes.hop) / 2;
    for (int n = 0; n < 2 * sizes.hop; ++n)
        window[at(start + n)] =
            shortWindow[at(n)] / (longWindow[at(start + n)] * sizes.frameLength);
    return window;
}

// Spectra of all whole frames of a stream.
std::vector<Spectrum> analyse(const AudioRows& audio, const TransformSizes& sizes) {
    const Row window = analysisWindow(sizes);
    Rows stream = toDouble(audio);
    for (Row& row : stream)
        row.insert(row.begin(), at(sizes.position()), 0.0);
    std::vector<Spectrum> spectra;
    for (int start = 0; start + sizes.frameLength <= static_cast<int>(stream[0].size());
         start += sizes.hop) {
        spectra.emplace_back();
        for (const Row& row : stream) {
            Row frame(at(sizes.fftLength), 0.0);
            for (int n = 0; n < sizes.frameLength; ++n)
                frame[at(sizes.padding() + n)] = row[at(start + n)] * window[at(n)];
            spectra.back().push_back(directForward(frame));
        }
    }
    return spectra;
}

// Each hop of output is the sum of a slice of one frame and an earlier slice of the next.
Rows synthesise(const std::vector<Spectrum>& spectra, const TransformSizes& sizes) {
    const Row window = synthesisWindow(sizes);
    Rows output(spectra.at(0).size());
    for (std::size_t c = 0; c < output.size(); ++c)
        for (std::size_t k = 0; k < spectra.size(); ++k) {
            const Row frame = directInverse(spectra[k][c]);
            const auto part = [&](int n) { return frame[at(sizes.padding() + n)] * window[at(n)]; };
            for (int n = 0; n < sizes.hop; ++n) {
                if (k > 0)
                    *(output[c].end() - sizes.hop + n) += part(sizes.position() - sizes.hop + n);
            }
            for (int n = 0; n < sizes.hop && k + 1 < spectra.size(); ++n)
                output[c].push_back(part(sizes.position() + n));
        }
    return output;
}

Spectrum adaptChannels(const Spectrum& signal, std::size_t channels) {
    if (signal.size() == channels)
        return signal;
    Spectrum mono = {signal[0]};
    for (std::size_t c = 1; c < signal.size(); ++c)
        mono = addScaled(mono, 1.0, {signal[c]});
    mono = scaled(mono, 1.0 / static_cast<double>(signal.size()));
    return Spectrum(std::max<std::size_t>(channels, 1), mono[0]);
}

Spectrum applySensitivity(const Spectrum& mask, double sensitivity) {
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

// Spectra of all frames of a stream through the network.
std::vector<Spectrum> runNetwork(const ModelFile& model, const std::vector<Spectrum>& spectra) {
    Stream input;
    for (const Spectrum& spectrum : spectra) {
        const PackedFrame packed =
            packFrame(model, adaptChannels(spectrum, at(model.numInputChannels)));
        input.positions = static_cast<int>(packed.size());
        input.channels = static_cast<int>(packed[0].size());
        input.frames.emplace_back();
        for (const auto& row : packed)
            for (const double value : row)
                input.frames.back().push_back({value, 0.0});
    }
    const Stream output = runReference(model, input);
    std::vector<Spectrum> results;
    for (const std::vector<Real>& frame : output.frames) {
        PackedFrame packed(at(output.positions));
        for (std::size_t i = 0; i < frame.size(); ++i)
            packed[i / at(output.channels)].push_back(frame[i].value);
        results.push_back(unpackFrame(model, packed, static_cast<int>(spectra[0][0].size()), true));
    }
    return results;
}

Spectrum mix(const ModelFile& model, const BusValues& gains, const BusValues& sensitivities,
             const Spectrum& input, const Spectrum& rows) {
    const bool spectra = model.outputMode != 0;
    Spectrum remainder = input;
    for (SpectrumRow& row : remainder)
        if (!spectra)
            std::fill(row.begin(), row.end(), 1.0);
    Spectrum sum = scaled(remainder, 0.0);
    const auto bent = [&](const Spectrum& mask, std::size_t bus) {
        return spectra ? mask : applySensitivity(mask, sensitivities[bus]);
    };
    const auto numMasks = at(model.numMasks);
    for (std::size_t bus = 0; bus < numMasks; ++bus) {
        const auto first = rows.begin() + static_cast<int>(bus) * model.numOutputChannels;
        const Spectrum mask =
            bent(adaptChannels({first, first + model.numOutputChannels}, input.size()), bus);
        sum = addScaled(sum, gains[bus], mask);
        remainder = addScaled(remainder, -1.0, mask);
    }
    sum = addScaled(sum, gains[numMasks], bent(remainder, numMasks));
    for (std::size_t c = 0; c < sum.size() && !spectra; ++c)
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

Rows toDouble(const AudioRows& audio) {
    Rows rows;
    for (const auto& row : audio)
        rows.emplace_back(row.begin(), row.end());
    return rows;
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

Rows referenceProcess(const ModelFile& model, const BusValues& gains,
                      const BusValues& sensitivities, double hostRate, const AudioRows& input) {
    const TransformSizes sizes = hostSizes(model, hostRate);
    const std::vector<Spectrum> spectra = analyse(input, sizes);
    std::vector<Spectrum> results = runNetwork(model, spectra);
    for (std::size_t t = 0; t < results.size(); ++t)
        results[t] = mix(model, gains, sensitivities, spectra[t], results[t]);
    return synthesise(results, sizes);
}

} // namespace sorvane::test
