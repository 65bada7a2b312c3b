#pragma once

#include "model/neural_model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sorvane::tools {

struct TensorOutline {
    std::string label;
    std::vector<int> shape;
    bool half = false;      ///< stored as half floats
    std::int64_t count = 0; ///< elements
};

struct LayerParameter {
    std::string label;
    double value = 0;
};

/// One layer record of a model file without its weights.
struct LayerOutline {
    std::string name;
    int kind = 0;
    std::string className;
    std::vector<std::string> inputs;
    std::vector<TensorOutline> tensors;
    std::vector<LayerParameter> parameters;
};

/// What a model file says, in file order: for listings and drawings.
struct ModelOutline {
    NeuralModel<float> model; ///< loaded: the header's values and the latency
    int version = 0;
    std::vector<LayerOutline> layers;
    std::string outputSource;

    [[nodiscard]] std::int64_t numWeights() const;
};

/// Reads the records of a model file, for files that the engine loads and others alike; `model` of
/// the result has the header's values alone. std::exception for a file that is broken.
ModelOutline readOutline(BinaryInputStream& stream);

/// The outline of a model that the engine can load. Raises ProgramError: exitInput when the file
/// can't be read, exitModel when it is no valid model.
ModelOutline loadOutline(const std::string& path);

} // namespace sorvane::tools
