#include "chain/models.h"

#include "console/program_error.h"
#include "console/suggestion.h"
#include "console/text.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

std::vector<std::string> namesOf(const std::vector<host::FoundModel>& models) {
    std::vector<std::string> names;
    for (const host::FoundModel& model : models)
        names.push_back(model.name);
    return names;
}

bool isPath(const std::string& text) {
    std::error_code error;
    const fs::path path = text;
    return path.has_parent_path() || path.extension() == ".model" || fs::exists(path, error);
}

} // namespace

std::string pathOfModel(const std::string& nameOrPath) {
    std::error_code error;
    if (isPath(nameOrPath) && fs::exists(nameOrPath, error))
        return nameOrPath;
    // "speech-48k.model" is a name too, should no such file be here.
    std::string name = lowerCase(nameOrPath);
    if (const std::size_t suffix = name.rfind(".model"); suffix != std::string::npos)
        name.erase(suffix);
    for (const host::FoundModel& model : host::listModels())
        if (lowerCase(model.name) == name)
            return model.path;
    return nameOrPath;
}

host::Model openModel(const std::string& nameOrPath) {
    const std::string path = pathOfModel(nameOrPath);
    std::error_code error;
    if (!isPath(path)) {
        const std::vector<std::string> names = namesOf(host::listModels());
        const std::string near = suggestion(nameOrPath, names);
        throw ProgramError(exitInput,
                           "there is no model " + inQuotes(nameOrPath) +
                               (near.empty() ? "; known are " + listOfNames(names) : near));
    }
    return host::Model(path);
}

std::string speechModelFor(double rate) {
    std::string best;
    double least = 0.0;
    for (const host::FoundModel& found : host::listModels()) {
        if (found.name.rfind("speech", 0) != 0 || found.name.find("small") != std::string::npos)
            continue;
        try {
            const double badness = host::Model(found.path).rateFit(rate).badness;
            if (best.empty() || badness < least) {
                best = found.path;
                least = badness;
            }
        } catch (const host::Error&) {
            // One that is refused isn't the best.
        }
    }
    if (best.empty())
        throw ProgramError(exitInput, "no speech model is installed; --model names another, and "
                                      "SORVANE_MODEL_PATH the folders that have some");
    return best;
}

bool ListedModel::isSpeechModel() const {
    return name.rfind("speech", 0) == 0;
}

std::vector<ListedModel> listedModels() {
    std::vector<ListedModel> models;
    for (const host::FoundModel& found : host::listModels()) {
        ListedModel listed;
        listed.name = found.name;
        listed.path = found.path;
        try {
            const host::Model model(found.path);
            listed.sampleRate = model.info().sampleRate;
            listed.busNames = model.busNames();
        } catch (const host::Error& error) {
            listed.problem = error.what();
        }
        models.push_back(std::move(listed));
    }
    return models;
}

} // namespace sorvane::tools
