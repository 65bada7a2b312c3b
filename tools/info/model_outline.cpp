#include "info/model_outline.h"

#include "console/program_error.h"
#include "console/text.h"
#include "sound/input_file.h"

#include "layers/record_reader.h"
#include "model/model_file.h"
#include "support/file_stream.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

namespace sorvane::tools {

namespace {

constexpr int firstVersionWithStorage = 0x1009;
constexpr int allVersions = 0;
constexpr int noEnd = std::numeric_limits<int>::max();

enum class FieldType { tensor, int8, int16, float32, bands };

struct Field {
    FieldType type;
    const char* label;
    int since = allVersions; // the first version that has the field
    int until = noEnd;       // the first that no longer has it
};

struct LayerKind {
    int code;
    const char* className;
    bool queued; // begins with a list of inputs instead of one
    std::vector<Field> fields;
};

using enum FieldType;

const LayerKind layerKinds[] = {
    {2,
     "ConvLayer",
     false,
     {{tensor, "weights"},
      {tensor, "bias"},
      {int8, "strideT"},
      {int8, "strideF"},
      {int8, "dilationT"},
      {int8, "unusedParameter"},
      {int8, "delay"}}},
    {3,
     "TransposedConvLayer",
     false,
     {{tensor, "weights"},
      {tensor, "bias"},
      {int16, "outputChannels", 0x1008},
      {int8, "strideT"},
      {int8, "strideF"},
      {int8, "dilationT"},
      {int8, "unusedParameter"},
      {int8, "delay"}}},
    {4, "ReLULayer", false, {}},
    {5, "ELULayer", false, {}},
    {6, "SigmoidLayer", false, {}},
    {7,
     "NormLayer",
     false,
     {{tensor, "bias", allVersions, 0x100A},
      {int8, "mode", 0x100A},
      {tensor, "scale"},
      {tensor, "bias", 0x100A}}},
    {9, "ConcatLayer", true, {}},
    {12, "LeakyReLULayer", false, {{float32, "slope"}}},
    {14, "DenseLayer", false, {{tensor, "weights"}, {tensor, "bias"}}},
    {15, "SeparableChannelConvLayer", false, {{tensor, "timeTaps"}, {tensor, "freqTaps"}}},
    {16, "PreNormLayer", false, {{tensor, "window"}}},
    {17, "SoftplusLayer", false, {}},
    {18, "ArithmeticLayer", true, {{int8, "operation"}}},
    {19,
     "SelfAttentionLayer",
     false,
     {{tensor, "attention"},
      {tensor, "bias"},
      {int8, "delay", 0x1007},
      {tensor, "timeTaps", 0x1007}}},
    {20, "HardSigmoidLayer", false, {}},
    {22, "FrequencyRescaleLayer", false, {{bands, "bandCount"}}},
    {23,
     "ARPreNormLayer",
     false,
     {{float32, "attack"}, {float32, "release"}, {float32, "epsilon"}}},
};

/// Reads on to the end of `count` bytes without holding them.
void skip(RecordReader& reader, std::int64_t count) {
    std::array<char, 65536> scratch{};
    reader.requireBytes(count);
    while (count > 0) {
        const auto part = std::min<std::int64_t>(count, scratch.size());
        reader.bytes(scratch.data(), part);
        count -= part;
    }
}

TensorOutline readTensorOutline(RecordReader& reader, const char* label) {
    TensorOutline outline;
    outline.label = label;
    const int storage =
        reader.version >= firstVersionWithStorage ? int{reader.scalar<std::int8_t>()} : 1;
    outline.half = storage == 0;
    const int rank = reader.scalar<std::int8_t>();
    for (int i = 0; i < rank; ++i)
        outline.shape.push_back(reader.scalar<std::int32_t>());
    outline.count = std::max<std::int64_t>(elementCount(outline.shape), 0);
    // Divided rather than multiplied: the count of a hostile file may be anything.
    const std::int64_t elementSize = outline.half ? 2 : 4;
    if (outline.count > std::numeric_limits<std::int64_t>::max() / elementSize)
        throw std::length_error("tensor too long");
    if (storage == 0 || storage == 1)
        skip(reader, outline.count * elementSize);
    return outline;
}

template <typename T>
double number(RecordReader& reader) {
    return static_cast<double>(reader.scalar<T>());
}

void readField(RecordReader& reader, const Field& field, LayerOutline& layer) {
    switch (field.type) {
    case tensor:
        layer.tensors.push_back(readTensorOutline(reader, field.label));
        break;
    case int8:
        layer.parameters.push_back({field.label, number<std::int8_t>(reader)});
        break;
    case int16:
        layer.parameters.push_back({field.label, number<std::int16_t>(reader)});
        break;
    case float32:
        layer.parameters.push_back({field.label, number<float>(reader)});
        break;
    case bands: {
        const int count = reader.scalar<std::int16_t>();
        layer.parameters.push_back({field.label, static_cast<double>(count)});
        for (int band = 0; band < count; ++band) {
            layer.parameters.push_back({"start", number<std::int16_t>(reader)});
            layer.tensors.push_back(readTensorOutline(reader, "weights"));
        }
        break;
    }
    }
}

LayerOutline readLayer(RecordReader& reader) {
    LayerOutline layer;
    layer.name = reader.string();
    layer.kind = reader.scalar<std::int16_t>();
    const auto* kind = std::find_if(std::begin(layerKinds), std::end(layerKinds),
                                    [&](const LayerKind& k) { return k.code == layer.kind; });
    if (kind == std::end(layerKinds))
        throw std::domain_error("unknown kind of layer");
    layer.className = kind->className;
    const int numInputs = kind->queued ? int{reader.scalar<std::int16_t>()} : 1;
    for (int i = 0; i < numInputs; ++i)
        layer.inputs.push_back(reader.string());
    for (const Field& field : kind->fields)
        if (reader.version >= field.since && reader.version < field.until)
            readField(reader, field, layer);
    return layer;
}

} // namespace

std::int64_t ModelOutline::numWeights() const {
    std::int64_t sum = 0;
    for (const LayerOutline& layer : layers)
        for (const TensorOutline& tensorOutline : layer.tensors)
            sum += tensorOutline.count;
    return sum;
}

ModelOutline readOutline(BinaryInputStream& stream) {
    ModelOutline outline;
    RecordReader reader(stream);
    if (!outline.model.readHeader(reader))
        throw std::domain_error("not the header of a model");
    outline.version = reader.version;
    const auto layerCount = reader.scalar<std::int32_t>();
    for (std::int32_t i = 0; i < layerCount; ++i)
        outline.layers.push_back(readLayer(reader));
    outline.outputSource = reader.string();
    return outline;
}

ModelOutline loadOutline(const std::string& path) {
    requireReadable(path);
    ModelOutline outline;
    try {
        FileStream stream;
        if (stream.openRegularFile(path.c_str())) {
            NeuralModel<float> loaded;
            outline = readOutline(stream);
            if (loadModelFile(loaded, path.c_str())) {
                outline.model = loaded;
                return outline;
            }
        }
    } catch (const std::exception&) {
        // Whatever a broken file leads to says no more than the message below.
    }
    throw ProgramError(exitModel, inQuotes(path) + " is not a valid model");
}

} // namespace sorvane::tools
