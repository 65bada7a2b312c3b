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

/// Where models are looked for, in this order: `installed`, the folder that the install puts them in,
/// relative to that of the plug-in; a folder "models" beside the plug-in; the folders of the environment
/// variable SORVANE_MODEL_PATH.
std::vector<std::filesystem::path> modelFolders(const char* installed);

/// The models in these folders, by folder and then by the file's name. A file that isn't a valid model
/// is left out, and so is one whose label an earlier one has. Each file is loaded once to learn its
/// busses and released again. Raises std::bad_alloc only.
std::vector<CatalogueModel> listModels(const std::vector<std::filesystem::path>& folders);

/// Loads one file. Raises std::runtime_error when it isn't a valid model.
CatalogueModel readModel(const std::filesystem::path& file);

} // namespace sorvane::plugins
