#pragma once

#include "util/model_file.h"

namespace sorvane::test {

// The model that ships as models/noise-gate-48k.model; models/README.md describes it.
ModelFile noiseGate48k();

} // namespace sorvane::test
