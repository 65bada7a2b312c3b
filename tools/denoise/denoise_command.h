#pragma once

namespace CLI {
class App;
}

namespace sorvane::tools {

/// Adds `sorvane denoise`: takes the noise out of recordings of speech.
void addDenoiseCommand(CLI::App& program);

} // namespace sorvane::tools
