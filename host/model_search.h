#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sorvane::host {

struct FoundModel {
    std::string name; ///< of the file, without its ending
    std::string path; ///< absolute
};

/// Where models are looked for, in the order that sorvaneHostListModels() tells.
std::vector<std::filesystem::path> modelFolders(const char* folders, const void* address);

/// The model files in these folders, of each name the first; by folder, then by name. Files that
/// don't begin as a model does are left out.
std::vector<FoundModel> listModels(const std::vector<std::filesystem::path>& folders);

/// The file for a path or a name, and how it came to it. Raises a Failure of SORVANE_HOST_NOT_FOUND
/// that tells where a name was looked for, or why the file can't be read.
std::string findModel(const std::string& nameOrPath);

} // namespace sorvane::host
