#pragma once

namespace sorvane::tools {

/// From here on the first SIGINT, SIGTERM or SIGHUP only sets a flag, so that the program can
/// remove what it has half written; the second ends the process at once. Signals that were ignored
/// stay so.
void catchInterrupts();

/// Raises ProgramError with the exit code 128 + n when signal n has come.
void throwIfInterrupted();

} // namespace sorvane::tools
