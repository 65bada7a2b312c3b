#include "bench/bench_command.h"
#include "console/console.h"
#include "console/program_error.h"
#include "info/info_command.h"
#include "process/process_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

namespace {

using namespace sorvane::tools;

int report(int exitCode, const std::string& message) {
    printMessage(message);
    return exitCode;
}

const char* const exitCodes =
    "Exit codes:\n"
    "  0  success\n"
    "  1  another failure: out of memory, or an error of the engine\n"
    "  2  an option or argument that can't be used\n"
    "  3  a model or audio file that is missing, can't be read or holds no audio\n"
    "  4  a file that is not a valid model\n"
    "  5  the output can't be written, or the disk is full\n"
    "  128 + n  ended by signal n\n";

int run(int argc, char** argv) {
    CLI::App program("Runs trained neural networks on audio files.", "sorvane");
    program.set_version_flag("--version", "sorvane " SORVANE_VERSION);
    program.require_subcommand(0, 1);
    program.footer(std::string("`sorvane COMMAND --help` shows a command's options and "
                               "examples.\n\n") +
                   exitCodes);
    addProcessCommand(program);
    addInfoCommand(program);
    addBenchCommand(program);
    try {
        program.parse(argc, argv); // runs the subcommand
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return program.exit(error); // help or version
        return report(exitUsage, error.what());
    }
    if (program.get_subcommands().empty())
        return report(exitUsage, "a command is required; see `sorvane --help`");
    // What was printed may only now meet a full disk.
    if (std::fflush(stdout) != 0)
        return report(exitOutput, "can't write to standard output");
    return exitSuccess;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const ProgramEnd& end) {
        return end.exitCode();
    } catch (...) {
        const Failure failure = currentFailure();
        return report(failure.exitCode, failure.message);
    }
}
