#pragma once

#include <stdexcept>
#include <string>

namespace sorvane::tools {

/// What the program's process returns. 128 + n stands for an end by signal n.
enum ExitCode {
    exitSuccess = 0,
    exitFailure = 1, ///< anything without a code of its own: memory, an error of the engine
    exitUsage = 2,   ///< an option or argument that can't be used, alone or with this model
    exitInput = 3,   ///< a model or audio file that is missing, unreadable or no audio
    exitModel = 4,   ///< a file that is no valid model
    exitOutput = 5,  ///< the output can't be written, or the disk is full
    exitSignalBase = 128,
};

/// Ends the program: main() prints the message in one line and returns the code.
class ProgramError : public std::runtime_error {
public:
    ProgramError(int exitCode, const std::string& message)
        : std::runtime_error(message), code(exitCode) {}

    [[nodiscard]] int exitCode() const { return code; }

private:
    int code;
};

/// Ends the program without a word: all has been said, or, with exitSuccess, the reader of a pipe
/// has had enough.
class ProgramEnd : public std::exception {
public:
    explicit ProgramEnd(int exitCode) : code(exitCode) {}

    [[nodiscard]] int exitCode() const { return code; }

private:
    int code;
};

struct Failure {
    int exitCode = exitSuccess;
    std::string message;
};

/// What the exception that is being handled means to the user. ProgramEnd passes through.
Failure currentFailure();

} // namespace sorvane::tools
