#pragma once

#include "util/temp_file.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Writes model files, legal and broken ones.
//
// A ModelFile is a plain description; its defaults make a valid file that passes frames through.
// All fields are written as they are given, without a check, in the layout of `version`: fields
// that a version doesn't have are left out.
namespace sorvane::test {

using Inputs = std::vector<std::string>;

struct FileTensor {
    std::vector<int> shape{};
    std::vector<float> values{}; // row-major; written whole, also where the shape says otherwise
    int storage = 1;             // 1: floats, 0: half floats, others: no data
};

// Fills `shape` with one value.
FileTensor constantTensor(const std::vector<int>& shape, float value);

// The nearest half float, ties to even, and what one stands for. The format knows neither infinities
// nor NaN: exponent 31 stands for values up to 131008, and what is larger becomes that.
std::uint16_t halfFromFloat(float value);
float halfValue(unsigned bits);

// Which fields are written depends on the code: 1 and 4 have bins; 2 has split and rest; 5 has
// split, rest, frames and ignored; 6 has split, rest and pool; all others have none.
struct FilePacking {
    int code = 1;
    int bins = 257;
    int split = 0;
    int rest = 0;
    int frames = 1;
    int pool = 1;
    int ignored = 0;
};

struct ConvParameters {
    int strideT = 1;
    int strideF = 1;
    int dilationT = 1;
    int unusedParameter = 0;
    int delay = 0;
};

struct RescaleBand {
    int start = 0;
    FileTensor weights;
};

// One layer with everything that any kind stores. Made by the functions below.
struct FileLayer {
    std::string name;
    int kind = 0;
    Inputs inputs{};      // the joins, 9 and 18, write a count in front
    FileTensor weights{}; // also attention, scale, window and frequency taps
    FileTensor bias{};
    FileTensor timeTaps{};
    ConvParameters parameters{};
    int outputChannels = 0;
    int code = 0; // a norm's mode, a join's operation
    std::vector<float> numbers{};
    std::vector<RescaleBand> bands{};
};

FileLayer conv(const std::string& name, const std::string& input, const FileTensor& weights,
               const FileTensor& bias, const ConvParameters& parameters = {});
// outputChannels is written from version 0x1008 on.
FileLayer transposedConv(const std::string& name, const std::string& input,
                         const FileTensor& weights, const FileTensor& bias, int outputChannels,
                         const ConvParameters& parameters = {});
// 4 ReLU, 5 ELU, 6 Sigmoid, 17 Softplus, 20 HardSigmoid, and kinds that there are none of.
FileLayer activation(const std::string& name, int kind, const std::string& input);
FileLayer leakyReLU(const std::string& name, const std::string& input, float slope);
// Before version 0x100A the bias stands first and the mode is left out.
FileLayer norm(const std::string& name, const std::string& input, int mode, const FileTensor& scale,
               const FileTensor& bias);
FileLayer concat(const std::string& name, const Inputs& inputs);
FileLayer arithmetic(const std::string& name, const Inputs& inputs, int operation);
FileLayer dense(const std::string& name, const std::string& input, const FileTensor& weights,
                const FileTensor& bias);
FileLayer separableChannelConv(const std::string& name, const std::string& input,
                               const FileTensor& timeTaps, const FileTensor& freqTaps);
FileLayer preNorm(const std::string& name, const std::string& input, const FileTensor& window);
FileLayer arPreNorm(const std::string& name, const std::string& input, float attack, float release,
                    float epsilon);
// The delay and timeTaps are written from version 0x1007 on.
FileLayer selfAttention(const std::string& name, const std::string& input,
                        const FileTensor& attention, const FileTensor& bias, int delay,
                        const FileTensor& timeTaps);
FileLayer frequencyRescale(const std::string& name, const std::string& input,
                           const std::vector<RescaleBand>& bands);

struct ModelFile {
    std::string magic = "sorvane.model";
    std::int32_t version = 0x100A;
    std::string modelTag = "test"; // these three only with "sorvane.model"
    std::int32_t modelId = 1;
    std::string modelNote{};
    int legacyType = 0; // only with the other magics
    double sampleRate = 48000.0;
    int numInputChannels = 1;
    FilePacking inputPacking{};
    int outputMode = 0; // 0: masks, others: spectra
    int numOutputChannels = 1;
    int numMasks = 1; // valid files have one name more than masks
    std::vector<std::string> outputNames = {"Speech", "Noise"};
    FilePacking outputPacking{};
    int fftLength = 512;
    int frameLength = 512;
    int hop = 256;
    std::vector<FileLayer> layers{};
    std::string outputSource = "input";
    // Values of integer fields in place of the right ones: "version", "layerCount",
    // "outputNames[1].count", "gate.weights.dims[0]", "gate.weights.rank", "gate.inputCount"...
    std::map<std::string, std::int64_t> overrides{};

    // Appends a layer, and makes it the output's source.
    const std::string& add(FileLayer layer);

    std::vector<std::uint8_t> bytes() const;
    TempFile write() const { return TempFile(bytes()); }
};

} // namespace sorvane::test
