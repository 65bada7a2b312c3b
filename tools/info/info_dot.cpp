#include "console/text.h"
#include "info/info_formats.h"
#include "info/layer_details.h"

#include <map>

namespace sorvane::tools {

namespace {

std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : printable(text)) {
        if (character == '"' || character == '\\')
            result += '\\';
        result += character;
    }
    return result;
}

std::string node(const std::string& id, const std::string& name,
                 const std::vector<std::string>& lines) {
    std::string label = escaped(name);
    for (const std::string& line : lines)
        label += "\\n" + escaped(line);
    return "    " + id + " [label=\"" + label + "\"];\n";
}

std::string edge(const std::string& from, const std::string& to) {
    return "    " + from + " -> " + to + ";\n";
}

} // namespace

std::string infoAsDot(const ModelInfo& info) {
    const host::ModelHeader& model = info.outline.header;
    std::string text = "digraph model {\n    node [shape=box];\n";
    text += node("input", "input",
                 {std::to_string(model.packedRows) + " rows of a spectrum of " +
                      std::to_string(model.packedBins) + " bins",
                  std::to_string(model.hop) + " samples a frame"});
    // An input is the last layer before with that name.
    std::map<std::string, std::string> idOf{{"input", "input"}};
    std::size_t number = 0;
    for (const host::LayerOutline& layer : info.outline.layers) {
        const std::string id = "layer" + std::to_string(number++);
        std::vector<std::string> lines = layerDetails(layer);
        lines.insert(lines.begin(), layer.className);
        text += node(id, layer.name, lines);
        for (const std::string& input : layer.inputs)
            if (const auto source = idOf.find(input); source != idOf.end())
                text += edge(source->second, id);
        idOf[layer.name] = id;
    }
    text += node("output", "output",
                 {std::to_string(model.numMasks) + (model.outputMode == 0 ? " masks" : " spectra"),
                  std::to_string(info.latencyFrames) + " frames of look-ahead"});
    if (const auto source = idOf.find(info.outline.outputSource); source != idOf.end())
        text += edge(source->second, "output");
    return text + "}\n";
}

} // namespace sorvane::tools
