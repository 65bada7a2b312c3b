#pragma once

#include "util/model_file.h"
#include "util/signals.h"

#include <complex>
#include <functional>
#include <vector>

// The road of the audio in double precision, written to be checked by eye: whole signals, direct
// transforms, no buffers. The engine's results are held against it.
namespace sorvane::test {

using Row = std::vector<double>;
using Rows = std::vector<Row>; // [channel][sample]
using SpectrumRow = std::vector<std::complex<double>>;
using Spectrum = std::vector<SpectrumRow>; // [channel][bin]

Rows toDouble(const AudioRows& audio);

// ---- Transform framework

// N samples to N / 2 + 1 bins, unscaled. For an N that isn't a power of two only the largest power
// of two below takes part; the bins and samples past it are 0.
SpectrumRow directForward(const Row& samples);
Row directInverse(const SpectrumRow& bins);

struct TransformSizes {
    int fftLength = 0;
    int frameLength = 0;
    int hop = 0;
};

using SpectralStage = std::function<std::vector<Spectrum>(const Spectrum&)>;

// All that a stream of `input` gives.
Rows overlapAdd(const Rows& input, const TransformSizes& sizes, int outputChannels,
                const SpectralStage& stage);

// ---- Frame exchange with a network

// One frame of a tensor, [row][column].
using PackedFrame = std::vector<std::vector<double>>;

PackedFrame packFrame(const ModelFile& model, const Spectrum& frame);
// std::out_of_range where `packed` has fewer rows than the bins ask for.
Spectrum unpackFrame(const ModelFile& model, const PackedFrame& packed, int bins, bool extendBand);

// ---- Spectral chain

// Gives the frames that become complete with this one.
using Network = std::function<std::vector<PackedFrame>(const PackedFrame&)>;

struct ChainSettings {
    std::vector<double> gains; // one a bus, the remainder last
    std::vector<double> sensitivities;
    bool extendBand = true;
};

// The whole road of a processor of one model.
Rows referenceProcess(const ModelFile& model, const Network& network, const ChainSettings& settings,
                      double hostRate, const AudioRows& input);

} // namespace sorvane::test
