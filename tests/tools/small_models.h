#pragma once

#include "util/model_file.h"

namespace sorvane::test {

// Two masks of a third and a sixth of what comes in, three busses.
inline ModelFile threeBusModel() {
    ModelFile model;
    model.numMasks = 2;
    model.outputNames = {"Voice", "Drums = loud", "Rest"};
    model.layers = {
        conv("masks", "input", {{1, 1, 1, 2}, {0.0F, 0.0F}}, {{2}, {1.0F / 3.0F, 1.0F / 6.0F}})};
    model.outputSource = "masks";
    return model;
}

} // namespace sorvane::test
