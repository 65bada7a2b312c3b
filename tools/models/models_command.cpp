#include "models/models_command.h"

#include "chain/models.h"
#include "console/json_text.h"
#include "console/suggestion.h"
#include "console/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>

namespace sorvane::tools {

namespace {

std::string purposeOf(const ListedModel& model) {
    if (!model.problem.empty())
        return "refused: " + printable(model.problem);
    if (!model.isSpeechModel())
        return model.name.rfind("noise-gate", 0) == 0 ? "an example that nobody trained" : "";
    const bool isSmall = model.name.find("small") != std::string::npos;
    return isSmall ? "speech without its noise, a third of the work"
                   : "speech without its noise; sorvane denoise takes it";
}

void printModels(bool asJson) {
    const std::vector<ListedModel> models = listedModels();
    if (asJson) {
        Json json = Json::array();
        for (const ListedModel& model : models)
            json.push_back({{"name", model.name},
                            {"path", model.path},
                            {"sampleRate", model.sampleRate},
                            {"busses", model.busNames},
                            {"purpose", purposeOf(model)}});
        std::fputs(jsonText(json).c_str(), stdout);
        return;
    }
    if (models.empty())
        std::puts("No model is found; SORVANE_MODEL_PATH names folders that have some.");
    std::size_t width = 0;
    for (const ListedModel& model : models)
        width = std::max(width, model.name.size());
    for (const ListedModel& model : models)
        std::printf("%-*s  %6s Hz  %-14s  %s\n", static_cast<int>(width),
                    printable(model.name).c_str(), shortNumber(model.sampleRate).c_str(),
                    listOfNames(model.busNames).c_str(), purposeOf(model).c_str());
}

} // namespace

void addModelsCommand(CLI::App& program) {
    auto asJson = std::make_shared<bool>(false);
    CLI::App* command =
        program.add_subcommand("models", "List the models that are found by their names");
    command->ignore_case();
    command->add_flag("--json", *asJson, "Print the same for programs, with the paths");
    command->footer(
        "Looked for in the folders of SORVANE_MODEL_PATH and where models are installed.\n"
        "Every command takes such a name, or the path of a file, for MODEL.\n");
    command->callback([asJson] { printModels(*asJson); });
}

} // namespace sorvane::tools
