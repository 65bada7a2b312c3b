#include "bench/bench_command.h"
#include "console/console.h"
#include "console/program_error.h"
#include "console/suggestion.h"
#include "console/text.h"
#include "denoise/denoise_command.h"
#include "info/info_command.h"
#include "models/models_command.h"
#include "process/process_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

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

/// A first word that is no option and no command.
std::string unknownCommand(const CLI::App& program, int argc, char** argv) {
    const std::string word = argc > 1 ? argv[1] : "-";
    std::vector<std::string> names;
    for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    const std::string small = lowerCase(word);
    if (word.rfind('-', 0) == 0 || std::find(names.begin(), names.end(), small) != names.end())
        return {};
    const std::string near = suggestion(word, names);
    return "there is no command " + inQuotes(word) +
           (near.empty() ? "; the commands are " + listOfNames(names) : near);
}

int run(int argc, char** argv) {
    CLI::App program("Runs trained neural networks on audio files.", "sorvane");
    program.set_version_flag("--version", "sorvane " SORVANE_VERSION);
    program.require_subcommand(0, 1);
    program.footer("`sorvane denoise talk.wav` takes the noise out of a recording.\n" +
                   std::string("`sorvane COMMAND --help` shows a command's options and "
                               "examples.\n\n") +
                   exitCodes);
    addDenoiseCommand(program);
    addProcessCommand(program);
    addModelsCommand(program);
    addInfoCommand(program);
    addBenchCommand(program);
    try {
        program.parse(argc, argv); // runs the subcommand
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return program.exit(error); // help or version
        const std::string unknown = unknownCommand(program, argc, argv);
        return report(exitUsage, unknown.empty() ? error.what() : unknown);
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
