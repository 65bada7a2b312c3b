#pragma once

#include "model/neural_model.h"

namespace sorvane {

/// Loads the network of the model file at `path` into a fresh model. False when the file can't be
/// opened, isn't a regular file, or is no valid model.
bool loadModelFile(NeuralModel<float>& model, const char* path);

} // namespace sorvane
