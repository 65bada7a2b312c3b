#pragma once

#include "util/model_file.h"
#include "util/signals.h"

#include <complex>
#include <vector>

// The road of the audio in double precision, written to be checked by eye: whole signals, direct
// transforms, no buffers. The engine's results are held against it.
namespace sorvane::test {

using Row = std::vector<double>;
using Rows = std::vector<Row>; // [channel][sample]
using SpectrumRow = std::vector<std::complex<double>>;
using Spectrum = std::vector<SpectrumRow>; // [channel][bin]

Rows toDouble(const AudioRows& audio);

struct TransformSizes {
    int fftLength, frameLength, hop;
    bool isLong() const { return frameLength >= 3 * hop; }
    int padding() const { return fftLength - frameLength; }
    // Of the hop of a frame that is complete with the next one.
    int position() const { return frameLength - (isLong() ? 2 : 1) * hop; }
};

// One frame of a tensor, [row][column].
using PackedFrame = std::vector<std::vector<double>>;

PackedFrame packFrame(const ModelFile& model, const Spectrum& frame);
// std::out_of_range where `packed` has fewer rows than the bins ask for.
Spectrum unpackFrame(const ModelFile& model, const PackedFrame& packed, int bins, bool extendBand);

using BusValues = std::vector<double>; // one a bus, the remainder last

// All that a processor of one model gives for a whole stream.
Rows referenceProcess(const ModelFile& model, const BusValues& gains,
                      const BusValues& sensitivities, double hostRate, const AudioRows& input);

} // namespace sorvane::test
