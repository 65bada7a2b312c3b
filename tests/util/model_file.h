#pragma once

#include "util/temp_file.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Writes model files, legal and broken ones.
//
// A ModelFile is a plain description; its defaults make a valid file that passes frames through.
// All fields are written as they are given, without a check, in the layout of `version`: fields
// that a version doesn't have are left out. To break a file, give wrong values, or take the
// FileImage and overwrite or cut its bytes: it knows where each field stands.
namespace sorvane::test {

struct FileField {
    std::size_t offset = 0;
    std::size_t size = 0;
    // "version", "outputNames[1].count", "gate.weights.dims[0]", "gate.weights.data"...
    std::string name;
};

struct FileImage {
    std::vector<std::uint8_t> bytes;
    std::vector<FileField> fields; // in file order, without gaps

    // Throws std::out_of_range for a name that isn't there.
    const FileField& field(std::string_view name) const;
    // Writes the low bytes of `value`, as many as the field has, little-endian.
    void overwrite(std::string_view name, std::int64_t value);
};

struct FileTensor {
    std::vector<int> shape{};
    std::vector<float> values{}; // row-major; written whole, also where the shape says otherwise
    int storage = 1;             // 1: floats, 0: half floats, others: no data
};

// Fills `shape` with one value.
FileTensor constantTensor(const std::vector<int>& shape, float value);

// The nearest half float, ties to even. The format knows neither infinities nor NaN: exponent 31
// stands for values up to 131008, and what is larger becomes that.
std::uint16_t halfFromFloat(float value);

// Appends fields to an image. `version` decides which fields exist.
class FileWriter {
public:
    FileWriter(FileImage& image, int version) : m_image(image), m_version(version) {}

    int version() const { return m_version; }
    void setPrefix(const std::string& prefix) { m_prefix = prefix; }

    void i8(const std::string& name, int value) { integer(name, value, 1); }
    void i16(const std::string& name, int value) { integer(name, value, 2); }
    void i32(const std::string& name, std::int64_t value) { integer(name, value, 4); }
    void f32(const std::string& name, float value);
    void f64(const std::string& name, double value);
    void string(const std::string& name, const std::string& value);
    void tensor(const std::string& name, const FileTensor& tensor);

private:
    void integer(const std::string& name, std::int64_t value, std::size_t size);
    void begin(const std::string& name, std::size_t size);

    FileImage& m_image;
    int m_version;
    std::string m_prefix;
};

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

struct FileLayer {
    std::string name;
    int kind = 0;
    std::vector<std::string> inputs{};       // the queued kinds, 9 and 18, write a count in front
    std::function<void(FileWriter&)> body{}; // what follows the inputs; may be empty
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

using Inputs = std::vector<std::string>;

// Kind 2.
FileLayer conv(const std::string& name, const std::string& input, const FileTensor& weights,
               const FileTensor& bias, const ConvParameters& parameters = {});
// Kind 3; outputChannels is written from version 0x1008 on.
FileLayer transposedConv(const std::string& name, const std::string& input,
                         const FileTensor& weights, const FileTensor& bias, int outputChannels,
                         const ConvParameters& parameters = {});
// Kinds without a body: 4 ReLU, 5 ELU, 6 Sigmoid, 17 Softplus, 20 HardSigmoid; others are written
// as asked.
FileLayer activation(const std::string& name, int kind, const std::string& input);
// Kind 12.
FileLayer leakyReLU(const std::string& name, const std::string& input, float slope);
// Kind 7; before version 0x100A bias stands first and mode is left out.
FileLayer norm(const std::string& name, const std::string& input, int mode, const FileTensor& scale,
               const FileTensor& bias);
// Kind 9.
FileLayer concat(const std::string& name, const Inputs& inputs);
// Kind 18.
FileLayer arithmetic(const std::string& name, const Inputs& inputs, int operation);
// Kind 14.
FileLayer dense(const std::string& name, const std::string& input, const FileTensor& weights,
                const FileTensor& bias);
// Kind 15.
FileLayer separableChannelConv(const std::string& name, const std::string& input,
                               const FileTensor& timeTaps, const FileTensor& freqTaps);
// Kind 16.
FileLayer preNorm(const std::string& name, const std::string& input, const FileTensor& window);
// Kind 23.
FileLayer arPreNorm(const std::string& name, const std::string& input, float attack, float release,
                    float epsilon);
// Kind 19; delay and timeTaps are written from version 0x1007 on.
FileLayer selfAttention(const std::string& name, const std::string& input,
                        const FileTensor& attention, const FileTensor& bias, int delay,
                        const FileTensor& timeTaps);
// Kind 22.
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
    std::optional<std::int32_t> layerCount{}; // the number of layers when not set
    std::vector<FileLayer> layers{};
    std::string outputSource = "input";

    FileImage image() const;
    std::vector<std::uint8_t> bytes() const { return image().bytes; }
    TempFile write() const { return TempFile(bytes()); }
};

} // namespace sorvane::test
