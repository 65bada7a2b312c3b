#pragma once

#include <sorvane_host.hpp>
#include <string>
#include <vector>

namespace sorvane::tools {

/// Opens a model by its path or, small and capital letters alike, by its name. Raises ProgramError
/// with the reason: exitInput when there is none, exitModel when the engine refuses it.
host::Model openModel(const std::string& nameOrPath);

/// The path of the file that openModel() would open, or the text itself where there is none.
std::string pathOfModel(const std::string& nameOrPath);

/// The path of the installed speech model that suits a rate best. Raises ProgramError with exitInput
/// where none is installed.
std::string speechModelFor(double rate);

/// A model that is found by its name, and what it is.
struct ListedModel {
    std::string name;
    std::string path;
    double sampleRate = 0.0;
    std::vector<std::string> busNames;
    std::string problem; ///< why the engine refuses it, or empty
    [[nodiscard]] bool isSpeechModel() const;
};

std::vector<ListedModel> listedModels();

} // namespace sorvane::tools
