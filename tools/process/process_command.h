#pragma once

namespace CLI {
class App;
}

namespace sorvane::tools {

/// Adds `sorvane process`: sends an audio file through a model.
void addProcessCommand(CLI::App& program);

} // namespace sorvane::tools
