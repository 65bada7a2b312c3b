#pragma once

#include <string>

namespace sorvane::tools {

/// Raises ProgramError with exitInput, and the reason in words, when `path` isn't there or can't be
/// opened for reading. Pipes and devices are left to the reader: opening one can have effects.
void requireReadable(const std::string& path);

} // namespace sorvane::tools
