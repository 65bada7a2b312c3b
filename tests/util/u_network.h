#pragma once

#include "util/model_file.h"

namespace sorvane::test {

// The deepest network of the tests: U-shaped, `levels` levels down and up in time and frequency with
// joins across, 8 channels, magnitudes of 256 bins at 16 kHz. Weights keep the level of what passes
// about as it was.
ModelFile uNetwork(int levels = 3);

// A small network with a layer of every kind, on 33 magnitudes of `inputChannels` channels, whose
// layers with delays and strides keep frames waiting at joins.
ModelFile everyKindNetwork(int inputChannels = 1);

} // namespace sorvane::test
