#include "common/model_catalogue.h"

#include "sorvane_host.hpp"

#include <algorithm>
#include <system_error>

namespace fs = std::filesystem;

namespace sorvane::plugins {

namespace {

/// An address inside the plug-in.
const int anchor = 0;

bool isLabelCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::string labelOf(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !isLabelCharacter(c); }, '_');
    return name;
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

std::string listOf(const std::vector<fs::path>& folders) {
    std::string list;
    for (const fs::path& folder : folders)
        list += folder.string() + SORVANE_HOST_LIST_SEPARATOR;
    return list;
}

} // namespace

CatalogueModel readModel(const fs::path& file) {
    std::error_code error;
    const fs::path absolute = fs::absolute(file, error);
    const std::string path = (error ? file : absolute).string();
    const host::Stream stream(host::Model(path), 1, 48000.0); // as a plug-in might run it
    return {path, labelOf(file.stem().string()), distinctNames(stream.busNames())};
}

std::vector<CatalogueModel> listModels(const std::vector<fs::path>& folders) {
    std::vector<CatalogueModel> models;
    for (const host::FoundModel& found : host::listModels(listOf(folders).c_str(), &anchor)) {
        const std::string label = labelOf(found.name);
        if (std::any_of(models.begin(), models.end(),
                        [&](const CatalogueModel& model) { return model.label == label; }))
            continue;
        try {
            models.push_back(readModel(found.path));
        } catch (const host::Error&) {
            // Not a model, or more than memory holds: no plug-in for it.
        }
    }
    return models;
}

} // namespace sorvane::plugins
