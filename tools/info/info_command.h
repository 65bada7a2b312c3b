#pragma once

namespace CLI {
class App;
}

namespace sorvane::tools {

/// Adds `sorvane info`: prints what a model file holds.
void addInfoCommand(CLI::App& program);

} // namespace sorvane::tools
