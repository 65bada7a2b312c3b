#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sorvane::plugins {

/// A model file that plug-ins are offered for.
struct CatalogueModel {
    std::string path;                  ///< absolute
    std::string label;                 ///< the file's name without its ending, in [A-Za-z0-9_]
    std::vector<std::string> busNames; ///< for people: none is empty, and no two are equal
};

/// The models in these folders, and then in those where the host layer looks, with the folder "models"
/// beside the plug-in. A file that isn't a valid model is left out, and so is one whose label an
/// earlier one has. Each file is loaded once to learn its busses and released again. Raises
/// std::bad_alloc and sorvane::host::Error only, when memory runs out.
std::vector<CatalogueModel> listModels(const std::vector<std::filesystem::path>& folders = {});

/// Loads one file. Raises sorvane::host::Error when it isn't a valid model.
CatalogueModel readModel(const std::filesystem::path& file);

} // namespace sorvane::plugins
