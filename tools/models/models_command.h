#pragma once

namespace CLI {
class App;
}

namespace sorvane::tools {

/// Adds `sorvane models`: lists the models that are found by their names.
void addModelsCommand(CLI::App& program);

} // namespace sorvane::tools
