#include "model_outline.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <set>

namespace sorvane::host {

namespace {

constexpr int firstVersionWithStorage = 0x1009;
constexpr int allVersions = 0;
constexpr int noEnd = std::numeric_limits<int>::max();
constexpr std::int64_t mostElements = std::numeric_limits<int>::max() / 4;

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

/// The product of the dimensions. Saturates far above mostElements.
std::int64_t elementCount(const std::vector<int>& shape) {
    constexpr std::int64_t limit = std::int64_t{1} << 31;
    std::int64_t product = shape.empty() ? 0 : 1;
    for (const std::int64_t dimension : shape)
        product = std::clamp(product, -limit, limit) * dimension;
    return std::max<std::int64_t>(product, 0);
}

TensorOutline readTensorOutline(RecordCursor& cursor, const char* label) {
    TensorOutline outline;
    outline.label = label;
    const int storage =
        cursor.version >= firstVersionWithStorage ? int{cursor.scalar<std::int8_t>(label)} : 1;
    outline.half = storage == 0;
    const int rank = cursor.scalar<std::int8_t>(label);
    for (int i = 0; i < rank; ++i)
        outline.shape.push_back(cursor.scalar<std::int32_t>(label));
    outline.count = elementCount(outline.shape);
    if (outline.count > mostElements)
        cursor.refuse(std::string(label) + " of at most 536,870,911 elements");
    if (storage == 0 || storage == 1)
        cursor.skip(outline.count * (outline.half ? 2 : 4), label);
    return outline;
}

template <typename T>
LayerParameter readParameter(RecordCursor& cursor, const char* label) {
    return {label, static_cast<double>(cursor.scalar<T>(label))};
}

void readBands(RecordCursor& cursor, LayerOutline& layer) {
    layer.parameters.push_back(readParameter<std::int16_t>(cursor, "bandCount"));
    const auto count = static_cast<int>(layer.parameters.back().value);
    if (count < 0)
        cursor.refuse("a bandCount from 0");
    for (int band = 0; band < count; ++band) {
        layer.parameters.push_back(readParameter<std::int16_t>(cursor, "start"));
        layer.tensors.push_back(readTensorOutline(cursor, "weights"));
    }
}

void readField(RecordCursor& cursor, const Field& field, LayerOutline& layer) {
    switch (field.type) {
    case tensor:
        layer.tensors.push_back(readTensorOutline(cursor, field.label));
        break;
    case int8:
        layer.parameters.push_back(readParameter<std::int8_t>(cursor, field.label));
        break;
    case int16:
        layer.parameters.push_back(readParameter<std::int16_t>(cursor, field.label));
        break;
    case float32:
        layer.parameters.push_back(readParameter<float>(cursor, field.label));
        break;
    case bands:
        readBands(cursor, layer);
        break;
    }
    // What else the engine tests of the field.
    const bool convolves = layer.kind == 2 || layer.kind == 3;
    if (convolves && field.label == std::string_view("weights")) {
        const std::size_t rank = layer.tensors.back().shape.size();
        if (rank > 0 && rank < 4)
            cursor.refuse("weights of four dimensions, not of " + std::to_string(rank));
    }
    if (layer.kind == 3 && field.label == std::string_view("strideT") &&
        layer.parameters.back().value == 0.0)
        cursor.refuse("a strideT that isn't 0");
}

/// A name that stands for a layer before, or for the network's input.
std::string readSource(RecordCursor& cursor, const std::set<std::string>& names) {
    std::string source = cursor.string("the name of an input");
    if (!names.contains(source))
        cursor.refuse("the name of an earlier layer, or \"input\", not \"" + source + '"');
    return source;
}

LayerOutline readLayer(RecordCursor& cursor, int number, const std::set<std::string>& names) {
    LayerOutline layer;
    cursor.beginRecord("layer " + std::to_string(number));
    layer.name = cursor.string("the layer's name");
    layer.kind = cursor.scalar<std::int16_t>("the layer's kind");
    const auto* kind = std::find_if(std::begin(layerKinds), std::end(layerKinds),
                                    [&](const LayerKind& k) { return k.code == layer.kind; });
    if (kind == std::end(layerKinds))
        cursor.refuse("a known kind of layer, not " + std::to_string(layer.kind));
    layer.className = kind->className;
    cursor.beginRecord("layer " + std::to_string(number) + " (" + layer.className + " \"" +
                       layer.name + "\")");
    const int numInputs =
        kind->queued ? int{cursor.scalar<std::int16_t>("the number of inputs")} : 1;
    for (int i = 0; i < numInputs; ++i)
        layer.inputs.push_back(readSource(cursor, names));
    for (const Field& field : kind->fields)
        if (cursor.version >= field.since && cursor.version < field.until)
            readField(cursor, field, layer);
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

ModelOutline readOutline(std::istream& stream) {
    ModelOutline outline;
    RecordCursor cursor(stream);
    outline.header = readHeader(cursor);
    const auto layerCount = cursor.scalar<std::int32_t>("the number of layers");
    std::set<std::string> names = {"input"};
    for (std::int32_t i = 0; i < layerCount; ++i) {
        outline.layers.push_back(readLayer(cursor, i + 1, names));
        names.insert(outline.layers.back().name);
    }
    cursor.beginRecord("the output");
    outline.outputSource = readSource(cursor, names);
    return outline;
}

} // namespace sorvane::host
