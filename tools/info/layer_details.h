#pragma once

#include <model_outline.h>

#include <string>
#include <vector>

namespace sorvane::tools {

/// "3x3x1x16", or "empty".
std::string shapeText(const std::vector<int>& shape);

/// What a layer holds, an item each: "weights 3x3x1x16", "strideT 2", "delay 1"; "96 times weights"
/// where a label stands several times.
std::vector<std::string> layerDetails(const host::LayerOutline& layer);

/// Fields of a record that nothing uses.
bool isUnused(const host::LayerParameter& parameter);

} // namespace sorvane::tools
