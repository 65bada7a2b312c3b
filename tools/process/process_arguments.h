#pragma once

#include "chain/process_options.h"
#include "run/run_arguments.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace sorvane::tools {

/// The command line of `sorvane process`, as it stands there. Of the options only what needs no
/// further reading is filled in.
struct ProcessArguments {
    ProcessOptions options;
    RunArguments run;
    std::vector<std::string> files;
    std::string pattern;
    std::string stems;
    std::string rawInput;
    std::string rawOutput;
    std::string start;
    std::string duration;
    std::string sampleType;
    std::string clip;
};

/// Adds what `sorvane process` takes, with its help, to be parsed into `arguments`.
void addProcessArguments(CLI::App& command, ProcessArguments& arguments);

} // namespace sorvane::tools
