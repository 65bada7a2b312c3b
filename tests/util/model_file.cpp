#include "util/model_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace sorvane::test {

const FileField& FileImage::field(std::string_view name) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const FileField& entry) { return entry.name == name; });
    if (found == fields.end())
        throw std::out_of_range("no field " + std::string(name));
    return *found;
}

void FileImage::overwrite(std::string_view name, std::int64_t value) {
    const FileField& entry = field(name);
    for (std::size_t i = 0; i < entry.size; ++i)
        bytes[entry.offset + i] = static_cast<std::uint8_t>((i < 8 ? value >> (8 * i) : 0) & 0xFF);
}

FileTensor constantTensor(const std::vector<int>& shape, float value) {
    std::size_t count = 1;
    for (const int dim : shape)
        count *= static_cast<std::size_t>(dim);
    return {shape, std::vector<float>(count, value)};
}

std::uint16_t halfFromFloat(float value) {
    const unsigned sign = std::signbit(value) ? 0x8000U : 0U;
    const double magnitude = std::fabs(static_cast<double>(value));
    if (!(magnitude < 131008.0))
        return static_cast<std::uint16_t>(sign | 0x7FFFU);
    // A fraction that rounds up to the next power of two carries into the exponent by itself.
    unsigned bits = 0;
    if (magnitude < std::ldexp(1.0, -14)) {
        bits = static_cast<unsigned>(std::nearbyint(std::ldexp(magnitude, 24)));
    } else {
        int exponent = 0;
        const double fraction = std::frexp(magnitude, &exponent);
        bits = (static_cast<unsigned>(exponent + 14) << 10) +
               static_cast<unsigned>(std::nearbyint(std::ldexp(fraction, 11))) - 1024U;
    }
    return static_cast<std::uint16_t>(sign | std::min(bits, 0x7FFFU));
}

// Appends the low bytes of `value`, little-endian.
static void append(std::vector<std::uint8_t>& bytes, std::int64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        bytes.push_back(static_cast<std::uint8_t>((value >> (8 * i)) & 0xFF));
}

void FileWriter::begin(const std::string& name, std::size_t size) {
    m_image.fields.push_back({m_image.bytes.size(), size, m_prefix + name});
}

void FileWriter::integer(const std::string& name, std::int64_t value, std::size_t size) {
    begin(name, size);
    append(m_image.bytes, value, size);
}

void FileWriter::f32(const std::string& name, float value) {
    integer(name, std::bit_cast<std::int32_t>(value), 4);
}

void FileWriter::f64(const std::string& name, double value) {
    integer(name, std::bit_cast<std::int64_t>(value), 8);
}

void FileWriter::string(const std::string& name, const std::string& value) {
    i32(name + ".count", static_cast<std::int64_t>(value.size()));
    begin(name, value.size());
    m_image.bytes.insert(m_image.bytes.end(), value.begin(), value.end());
}

void FileWriter::tensor(const std::string& name, const FileTensor& tensor) {
    const bool storageStored = m_version >= 0x1009;
    if (storageStored)
        i8(name + ".storage", tensor.storage);
    i8(name + ".rank", static_cast<int>(tensor.shape.size()));
    for (std::size_t i = 0; i < tensor.shape.size(); ++i)
        i32(name + ".dims[" + std::to_string(i) + "]", tensor.shape[i]);

    const std::size_t size = !storageStored || tensor.storage == 1 ? 4
                             : tensor.storage == 0                 ? 2
                                                                   : 0;
    begin(name + ".data", size * tensor.values.size());
    for (const float value : tensor.values)
        append(m_image.bytes,
               size == 4 ? std::bit_cast<std::int32_t>(value) : std::int64_t{halfFromFloat(value)},
               size);
}

static void writeConvParameters(FileWriter& writer, const ConvParameters& parameters) {
    writer.i8("strideT", parameters.strideT);
    writer.i8("strideF", parameters.strideF);
    writer.i8("dilationT", parameters.dilationT);
    writer.i8("unusedParameter", parameters.unusedParameter);
    writer.i8("delay", parameters.delay);
}

using Tensors = std::vector<std::pair<std::string, FileTensor>>;

// A layer of one input that stores tensors and then what `rest` writes.
static FileLayer layerOf(int kind, const std::string& name, const std::string& input,
                         const Tensors& tensors,
                         const std::function<void(FileWriter&)>& rest = {}) {
    return {name, kind, {input}, [=](FileWriter& writer) {
                for (const auto& [field, tensor] : tensors)
                    writer.tensor(field, tensor);
                if (rest)
                    rest(writer);
            }};
}

FileLayer conv(const std::string& name, const std::string& input, const FileTensor& weights,
               const FileTensor& bias, const ConvParameters& parameters) {
    return layerOf(2, name, input, {{"weights", weights}, {"bias", bias}},
                   [=](FileWriter& writer) { writeConvParameters(writer, parameters); });
}

FileLayer transposedConv(const std::string& name, const std::string& input,
                         const FileTensor& weights, const FileTensor& bias, int outputChannels,
                         const ConvParameters& parameters) {
    return layerOf(3, name, input, {{"weights", weights}, {"bias", bias}}, [=](FileWriter& writer) {
        if (writer.version() >= 0x1008)
            writer.i16("outputChannels", outputChannels);
        writeConvParameters(writer, parameters);
    });
}

FileLayer activation(const std::string& name, int kind, const std::string& input) {
    return {name, kind, {input}, {}};
}

FileLayer leakyReLU(const std::string& name, const std::string& input, float slope) {
    return layerOf(12, name, input, {}, [=](FileWriter& writer) { writer.f32("slope", slope); });
}

FileLayer norm(const std::string& name, const std::string& input, int mode, const FileTensor& scale,
               const FileTensor& bias) {
    return layerOf(7, name, input, {}, [=](FileWriter& writer) {
        const bool current = writer.version() >= 0x100A;
        if (current)
            writer.i8("mode", mode);
        writer.tensor(current ? "scale" : "bias", current ? scale : bias);
        writer.tensor(current ? "bias" : "scale", current ? bias : scale);
    });
}

FileLayer concat(const std::string& name, const Inputs& inputs) {
    return {name, 9, inputs, {}};
}

FileLayer arithmetic(const std::string& name, const Inputs& inputs, int operation) {
    return {name, 18, inputs, [=](FileWriter& writer) { writer.i8("operation", operation); }};
}

FileLayer dense(const std::string& name, const std::string& input, const FileTensor& weights,
                const FileTensor& bias) {
    return layerOf(14, name, input, {{"weights", weights}, {"bias", bias}});
}

FileLayer separableChannelConv(const std::string& name, const std::string& input,
                               const FileTensor& timeTaps, const FileTensor& freqTaps) {
    return layerOf(15, name, input, {{"timeTaps", timeTaps}, {"freqTaps", freqTaps}});
}

FileLayer preNorm(const std::string& name, const std::string& input, const FileTensor& window) {
    return layerOf(16, name, input, {{"window", window}});
}

FileLayer arPreNorm(const std::string& name, const std::string& input, float attack, float release,
                    float epsilon) {
    return layerOf(23, name, input, {}, [=](FileWriter& writer) {
        writer.f32("attack", attack);
        writer.f32("release", release);
        writer.f32("epsilon", epsilon);
    });
}

FileLayer selfAttention(const std::string& name, const std::string& input,
                        const FileTensor& attention, const FileTensor& bias, int delay,
                        const FileTensor& timeTaps) {
    return layerOf(19, name, input, {{"attention", attention}, {"bias", bias}},
                   [=](FileWriter& writer) {
                       if (writer.version() < 0x1007)
                           return;
                       writer.i8("delay", delay);
                       writer.tensor("timeTaps", timeTaps);
                   });
}

FileLayer frequencyRescale(const std::string& name, const std::string& input,
                           const std::vector<RescaleBand>& bands) {
    return layerOf(22, name, input, {}, [=](FileWriter& writer) {
        writer.i16("bandCount", static_cast<int>(bands.size()));
        for (std::size_t i = 0; i < bands.size(); ++i) {
            const std::string band = "bands[" + std::to_string(i) + "]";
            writer.i16(band + ".start", bands[i].start);
            writer.tensor(band + ".weights", bands[i].weights);
        }
    });
}

static void writePacking(FileWriter& writer, const std::string& side, const FilePacking& packing) {
    const int code = packing.code;
    writer.i8(side, code);
    if (code == 1 || code == 4)
        writer.i16(side + ".bins", packing.bins);
    if (code == 2 || code == 5 || code == 6) {
        writer.i16(side + ".split", packing.split);
        writer.i16(side + ".rest", packing.rest);
    }
    if (code == 5) {
        writer.i16(side + ".frames", packing.frames);
        writer.i16(side + ".ignored", packing.ignored);
    }
    if (code == 6)
        writer.i8(side + ".pool", packing.pool);
}

static void writeLayer(FileWriter& writer, const FileLayer& layer) {
    writer.setPrefix(layer.name + ".");
    writer.string("name", layer.name);
    writer.i16("kind", layer.kind);
    if (layer.kind == 9 || layer.kind == 18)
        writer.i16("inputCount", static_cast<int>(layer.inputs.size()));
    for (std::size_t i = 0; i < layer.inputs.size(); ++i)
        writer.string("inputs[" + std::to_string(i) + "]", layer.inputs[i]);
    if (layer.body)
        layer.body(writer);
    writer.setPrefix("");
}

FileImage ModelFile::image() const {
    FileImage result;
    FileWriter writer(result, version);
    writer.string("magic", magic);
    writer.i32("version", version);
    if (magic == "KLEVO.model" || magic == "Wexo.model") {
        writer.i16("legacyType", legacyType);
    } else {
        writer.string("modelTag", modelTag);
        writer.i32("modelId", modelId);
        writer.string("modelNote", modelNote);
    }
    writer.f64("sampleRate", sampleRate);
    writer.i8("numInputChannels", numInputChannels);
    writePacking(writer, "inputPacking", inputPacking);
    writer.i8("outputMode", outputMode);
    writer.i8("numOutputChannels", numOutputChannels);
    if (version >= 0x1006) {
        writer.i8("numMasks", numMasks);
        for (std::size_t i = 0; i < outputNames.size(); ++i)
            writer.string("outputNames[" + std::to_string(i) + "]", outputNames[i]);
    }
    writePacking(writer, "outputPacking", outputPacking);
    writer.i16("fftLength", fftLength);
    if (version >= 0x1005)
        writer.i16("frameLength", frameLength);
    writer.i16("hop", hop);
    writer.i32("layerCount", layerCount.value_or(static_cast<std::int32_t>(layers.size())));
    for (const FileLayer& layer : layers)
        writeLayer(writer, layer);
    writer.string("outputSource", outputSource);
    return result;
}

} // namespace sorvane::test
