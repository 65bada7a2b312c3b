#pragma once

#include "chain/process_options.h"
#include "run/input_list.h"
#include "run/output_plan.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace sorvane::tools {

/// What every subcommand that makes files takes, as it stands on the command line.
struct RunArguments {
    std::string outputFolder;
    bool recursive = false;
    bool skipExisting = false;
    bool force = false;
    int jobs = 1;
    std::string report;
    bool quiet = false;
};

/// Adds those options, in the groups "Files" and "Run".
void addRunArguments(CLI::App& command, RunArguments& arguments, ProcessOptions& options);

/// What is to be made, and what is told of it.
struct Batch {
    std::vector<FilePlan> plans;
    InputList inputs;
    bool tellsResult = false; ///< also of a single file
};

/// Takes out what is done, makes the folders, runs all files and tells how it went. Raises
/// ProgramError, or when files failed ProgramEnd with the first one's exit code.
void runBatch(Batch batch, const ProcessOptions& options, const RunArguments& arguments);

/// Refuses, with exitUsage, what is wrong with standard input among these inputs.
void requireOneStandardInput(const std::vector<std::string>& inputs);

} // namespace sorvane::tools
