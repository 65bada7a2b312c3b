#pragma once

#include "util/model_file.h"

namespace sorvane::test {

struct TinyModel {
    std::string name; // fit for a file name
    ModelFile file;
};

// Models of some two hundred bytes that give output for frames of 8 positions: one for each kind of
// layer, in each form of its record, and one for each form of the header. Only the one whose name is
// "packing-5" raises an error at its first frame, as that packing does.
std::vector<TinyModel> tinyModels();

} // namespace sorvane::test
