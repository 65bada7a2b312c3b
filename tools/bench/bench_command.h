#pragma once

namespace CLI {
class App;
}

namespace sorvane::tools {

/// Adds `sorvane bench`: measures how fast a model runs.
void addBenchCommand(CLI::App& program);

} // namespace sorvane::tools
