#pragma once

#include <model_outline.h>

#include <string>
#include <vector>

namespace sorvane::tools {

/// A model file, and what a processor at the model's own rate says of it.
struct ModelInfo {
    host::ModelOutline outline;
    std::vector<std::string> busNames; ///< the last is what the masks leave over
    int latencyFrames = 0;             ///< of look-ahead
    int latencySamples = 0;
};

std::string infoAsJson(const ModelInfo& info);

/// The network as a graph for Graphviz: a node a layer, with shapes, strides and delays. Names of
/// layers are labels alone, so that whatever a file calls them the graph is whole.
std::string infoAsDot(const ModelInfo& info);

} // namespace sorvane::tools
