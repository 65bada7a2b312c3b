#include "util/model_file.h"
#include "support/bit_cast.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sorvane::test {

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
    const int exponent = std::max(magnitude > 0.0 ? std::ilogb(magnitude) : -14, -14);
    const double steps = std::nearbyint(std::ldexp(magnitude, 10 - exponent));
    const int bits = (exponent + 14) * 1024 + static_cast<int>(steps);
    return static_cast<std::uint16_t>(sign | static_cast<unsigned>(std::min(bits, 0x7FFF)));
}

float halfValue(unsigned bits) {
    const int exponent = static_cast<int>((bits >> 10) & 0x1FU);
    const int fraction = static_cast<int>(bits & 0x3FFU) + (exponent > 0 ? 1024 : 0);
    const double magnitude = std::ldexp(fraction, std::max(exponent, 1) - 25);
    return static_cast<float>((bits & 0x8000U) != 0 ? -magnitude : magnitude);
}

namespace {

class Writer {
public:
    explicit Writer(const ModelFile& modelFile) : file(modelFile) {}

    std::vector<std::uint8_t> write() {
        string("magic", file.magic);
        i32("version", file.version);
        if (file.magic == "KLEVO.model" || file.magic == "Wexo.model") {
            i16("legacyType", file.legacyType);
        } else {
            string("modelTag", file.modelTag);
            i32("modelId", file.modelId);
            string("modelNote", file.modelNote);
        }
        integer("sampleRate", sorvane::bitCast<std::int64_t>(file.sampleRate), 8);
        i8("numInputChannels", file.numInputChannels);
        packing("inputPacking", file.inputPacking);
        i8("outputMode", file.outputMode);
        i8("numOutputChannels", file.numOutputChannels);
        if (file.version >= 0x1006) {
            i8("numMasks", file.numMasks);
            for (std::size_t i = 0; i < file.outputNames.size(); ++i)
                string("outputNames[" + std::to_string(i) + "]", file.outputNames[i]);
        }
        packing("outputPacking", file.outputPacking);
        i16("fftLength", file.fftLength);
        if (file.version >= 0x1005)
            i16("frameLength", file.frameLength);
        i16("hop", file.hop);
        i32("layerCount", static_cast<std::int64_t>(file.layers.size()));
        for (const FileLayer& entry : file.layers)
            layer(entry);
        string("outputSource", file.outputSource);
        return std::move(bytes);
    }

private:
    // The low bytes, little-endian.
    void integer(const std::string& name, std::int64_t value, std::size_t size) {
        const auto other = file.overrides.find(prefix + name);
        append(other == file.overrides.end() ? value : other->second, size);
    }
    void append(std::int64_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            bytes.push_back(static_cast<std::uint8_t>((value >> (8 * i)) & 0xFF));
    }
    void i8(const std::string& name, int value) { integer(name, value, 1); }
    void i16(const std::string& name, int value) { integer(name, value, 2); }
    void i32(const std::string& name, std::int64_t value) { integer(name, value, 4); }

    void string(const std::string& name, const std::string& value) {
        i32(name + ".count", static_cast<std::int64_t>(value.size()));
        bytes.insert(bytes.end(), value.begin(), value.end());
    }

    void packing(const char* side, const FilePacking& p) {
        i8(side, p.code);
        if (p.code == 1 || p.code == 4)
            i16("bins", p.bins);
        if (p.code == 2 || p.code == 5 || p.code == 6) {
            i16("split", p.split);
            i16("rest", p.rest);
        }
        if (p.code == 5) {
            i16("frames", p.frames);
            i16("ignored", p.ignored);
        }
        if (p.code == 6)
            i8("pool", p.pool);
    }

    void tensor(const std::string& name, const FileTensor& t) {
        const bool storageStored = file.version >= 0x1009;
        if (storageStored)
            i8(name + ".storage", t.storage);
        i8(name + ".rank", static_cast<int>(t.shape.size()));
        for (std::size_t i = 0; i < t.shape.size(); ++i)
            i32(name + ".dims[" + std::to_string(i) + "]", t.shape[i]);
        for (const float value : t.values) {
            if (!storageStored || t.storage == 1)
                append(sorvane::bitCast<std::int32_t>(value), 4);
            else if (t.storage == 0)
                append(halfFromFloat(value), 2);
        }
    }

    void layer(const FileLayer& l) {
        prefix = l.name + ".";
        string("name", l.name);
        i16("kind", l.kind);
        if (l.kind == 9 || l.kind == 18)
            i16("inputCount", static_cast<int>(l.inputs.size()));
        for (std::size_t i = 0; i < l.inputs.size(); ++i)
            string("inputs[" + std::to_string(i) + "]", l.inputs[i]);
        body(l);
        prefix.clear();
    }

    void body(const FileLayer& l) {
        switch (l.kind) {
        case 2:
        case 3:
        case 14:
            tensor("weights", l.weights);
            tensor("bias", l.bias);
            if (l.kind != 14)
                convolution(l);
            break;
        case 7: {
            const bool current = file.version >= 0x100A;
            if (current)
                i8("mode", l.code);
            tensor("first", current ? l.weights : l.bias);
            tensor("second", current ? l.bias : l.weights);
            break;
        }
        case 15:
            tensor("timeTaps", l.timeTaps);
            tensor("freqTaps", l.weights);
            break;
        case 16:
            tensor("window", l.weights);
            break;
        case 18:
            i8("operation", l.code);
            break;
        case 19:
            tensor("attention", l.weights);
            tensor("bias", l.bias);
            if (file.version >= 0x1007) {
                i8("delay", l.parameters.delay);
                tensor("timeTaps", l.timeTaps);
            }
            break;
        case 22:
            i16("bandCount", static_cast<int>(l.bands.size()));
            for (const RescaleBand& band : l.bands) {
                i16("start", band.start);
                tensor("band", band.weights);
            }
            break;
        default:
            for (const float number : l.numbers)
                append(sorvane::bitCast<std::int32_t>(number), 4);
        }
    }

    void convolution(const FileLayer& l) {
        if (l.kind == 3 && file.version >= 0x1008)
            i16("outputChannels", l.outputChannels);
        const ConvParameters& p = l.parameters;
        for (const int value : {p.strideT, p.strideF, p.dilationT, p.unusedParameter, p.delay})
            append(value, 1);
    }

    const ModelFile& file;
    std::vector<std::uint8_t> bytes;
    std::string prefix;
};

} // namespace

std::vector<std::uint8_t> ModelFile::bytes() const {
    return Writer(*this).write();
}

const std::string& ModelFile::add(FileLayer layer) {
    outputSource = layer.name;
    layers.push_back(std::move(layer));
    return outputSource;
}

FileLayer conv(const std::string& name, const std::string& input, const FileTensor& weights,
               const FileTensor& bias, const ConvParameters& parameters) {
    return {name, 2, {input}, weights, bias, {}, parameters};
}

FileLayer transposedConv(const std::string& name, const std::string& input,
                         const FileTensor& weights, const FileTensor& bias, int outputChannels,
                         const ConvParameters& parameters) {
    return {name, 3, {input}, weights, bias, {}, parameters, outputChannels};
}

FileLayer activation(const std::string& name, int kind, const std::string& input) {
    return {name, kind, {input}};
}

FileLayer leakyReLU(const std::string& name, const std::string& input, float slope) {
    return {.name = name, .kind = 12, .inputs = {input}, .numbers = {slope}};
}

FileLayer norm(const std::string& name, const std::string& input, int mode, const FileTensor& scale,
               const FileTensor& bias) {
    return {name, 7, {input}, scale, bias, {}, {}, 0, mode};
}

FileLayer concat(const std::string& name, const Inputs& inputs) {
    return {name, 9, inputs};
}

FileLayer arithmetic(const std::string& name, const Inputs& inputs, int operation) {
    return {.name = name, .kind = 18, .inputs = inputs, .code = operation};
}

FileLayer dense(const std::string& name, const std::string& input, const FileTensor& weights,
                const FileTensor& bias) {
    return {name, 14, {input}, weights, bias};
}

FileLayer separableChannelConv(const std::string& name, const std::string& input,
                               const FileTensor& timeTaps, const FileTensor& freqTaps) {
    return {name, 15, {input}, freqTaps, {}, timeTaps};
}

FileLayer preNorm(const std::string& name, const std::string& input, const FileTensor& window) {
    return {name, 16, {input}, window};
}

FileLayer arPreNorm(const std::string& name, const std::string& input, float attack, float release,
                    float epsilon) {
    return {.name = name, .kind = 23, .inputs = {input}, .numbers = {attack, release, epsilon}};
}

FileLayer selfAttention(const std::string& name, const std::string& input,
                        const FileTensor& attention, const FileTensor& bias, int delay,
                        const FileTensor& timeTaps) {
    return {name, 19, {input}, attention, bias, timeTaps, {.delay = delay}};
}

FileLayer frequencyRescale(const std::string& name, const std::string& input,
                           const std::vector<RescaleBand>& bands) {
    return {.name = name, .kind = 22, .inputs = {input}, .bands = bands};
}

} // namespace sorvane::test
