#pragma once

#include "util/model_file.h"

namespace sorvane::test {

struct TinyModel {
    std::string name; // fit for a file name
    ModelFile file;
};

// Models of some two hundred bytes that give output for frames of 9 positions: one for each kind of
// layer, in each form of its record, and one for each form of the header.
std::vector<TinyModel> tinyModels();

} // namespace sorvane::test
