#include "layer_details.h"

#include "text.h"

namespace sorvane::tools {

std::string shapeText(const std::vector<int>& shape) {
    std::string text;
    for (const int dimension : shape)
        text += (text.empty() ? "" : "x") + std::to_string(dimension);
    return text.empty() ? "empty" : text;
}

bool isUnused(const LayerParameter& parameter) {
    return parameter.label == "unusedParameter";
}

std::vector<std::string> layerDetails(const LayerOutline& layer) {
    std::vector<std::string> details;
    for (const TensorOutline& tensor : layer.tensors)
        details.push_back(tensor.label + " " + shapeText(tensor.shape) +
                          (tensor.half ? " (half)" : ""));
    for (const LayerParameter& parameter : layer.parameters)
        if (!isUnused(parameter))
            details.push_back(parameter.label + " " + shortNumber(parameter.value));
    return details;
}

} // namespace sorvane::tools
