#include "common/model_catalogue.h"

#include "common/engine_stream.h"
#include "common/platform.h"
#include "sorvane_engine.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace sorvane::plugins {

namespace {

bool isLabelCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::string labelOf(const fs::path& file) {
    std::string label = file.stem().string();
    std::replace_if(
        label.begin(), label.end(), [](char c) { return !isLabelCharacter(c); }, '_');
    return label;
}

/// Some hosts address controls by name, so a name that is empty or not the only one gets a number.
std::vector<std::string> distinctNames(const std::vector<std::string>& names) {
    std::vector<std::string> result;
    for (std::size_t bus = 0; bus < names.size(); ++bus) {
        std::string name = names[bus].empty() ? "Bus" : names[bus];
        if (names[bus].empty() || std::count(names.begin(), names.end(), name) > 1)
            name += " " + std::to_string(bus);
        while (std::find(result.begin(), result.end(), name) != result.end())
            name += "'";
        result.push_back(name);
    }
    return result;
}

std::vector<fs::path> modelFilesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unreadable;
        if (entry->path().extension() == ".model" && entry->is_regular_file(unreadable))
            files.push_back(entry->path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

std::vector<fs::path> modelFolders(const char* installed) {
    std::vector<fs::path> folders;
    if (const fs::path own = platform::moduleFolder(); !own.empty()) {
        folders.push_back((own / installed).lexically_normal());
        folders.push_back(own / "models");
    }
    if (const char* const variable = std::getenv("SORVANE_MODEL_PATH")) {
        std::istringstream list(variable);
        for (std::string folder; std::getline(list, folder, platform::listSeparator);)
            if (!folder.empty())
                folders.emplace_back(folder);
    }
    return folders;
}

CatalogueModel readModel(const fs::path& file) {
    std::error_code error;
    const fs::path absolute = fs::absolute(file, error);
    const std::string path = (error ? file : absolute).string();
    const std::unique_ptr<void, void (*)(void*)> handle(
        sorvaneCreateProcessor(path.c_str(), 1, 48000.0), sorvaneDeleteProcessor);
    if (!handle)
        throw std::runtime_error(path + " is not a valid model");
    return {path, labelOf(file), distinctNames(busNamesOf(handle.get()))};
}

std::vector<CatalogueModel> listModels(const std::vector<fs::path>& folders) {
    std::vector<CatalogueModel> models;
    for (const fs::path& folder : folders)
        for (const fs::path& file : modelFilesIn(folder)) {
            const std::string label = labelOf(file);
            if (std::any_of(models.begin(), models.end(),
                            [&](const CatalogueModel& model) { return model.label == label; }))
                continue;
            try {
                models.push_back(readModel(file));
            } catch (const std::exception&) {
                // Not a model, or more than memory holds: no plug-in for it.
            }
        }
    return models;
}

} // namespace sorvane::plugins
