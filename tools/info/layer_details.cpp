#include "info/layer_details.h"

#include "console/text.h"

#include <map>

namespace sorvane::tools {

std::string shapeText(const std::vector<int>& shape) {
    std::string text;
    for (const int dimension : shape)
        text += (text.empty() ? "" : "x") + std::to_string(dimension);
    return text.empty() ? "empty" : text;
}

bool isUnused(const host::LayerParameter& parameter) {
    return parameter.label == "unusedParameter";
}

std::vector<std::string> layerDetails(const host::LayerOutline& layer) {
    // Bands have a tensor and a number each, of which the count tells enough.
    std::map<std::string, int> counts;
    for (const host::TensorOutline& tensor : layer.tensors)
        ++counts[tensor.label];
    for (const host::LayerParameter& parameter : layer.parameters)
        ++counts[parameter.label];

    std::vector<std::string> details;
    const auto add = [&](const std::string& label, const std::string& value) {
        const int count = counts[label];
        if (count == 1)
            details.push_back(label + " " + value);
        else if (count > 1)
            details.push_back(std::to_string(count) + " times " + label);
        if (count > 1)
            counts[label] = 0; // told once
    };
    for (const host::TensorOutline& tensor : layer.tensors)
        add(tensor.label, shapeText(tensor.shape) + (tensor.half ? " (half)" : ""));
    for (const host::LayerParameter& parameter : layer.parameters)
        if (!isUnused(parameter))
            add(parameter.label, shortNumber(parameter.value));
    return details;
}

} // namespace sorvane::tools
