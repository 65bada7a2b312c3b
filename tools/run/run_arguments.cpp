#include "run/run_arguments.h"

#include <CLI/CLI.hpp>

namespace sorvane::tools {

namespace {

constexpr int mostJobs = 1024;
constexpr int mostKilobits = 10000;
constexpr int mostTracks = 1000;

} // namespace

void addRunArguments(CLI::App& command, RunArguments& arguments, ProcessOptions& options) {
    command.option_defaults()->group("Files");
    command
        .add_option("--out-dir", arguments.outputFolder,
                    "Folder for the outputs; it is made where it is missing")
        ->type_name("FOLDER");
    command.add_flag("--recursive", arguments.recursive, "Take the folders of a folder too");
    CLI::Option* skip = command.add_flag("--skip-existing", arguments.skipExisting,
                                         "Pass over inputs whose outputs are there already");
    command.add_flag("--force", arguments.force, "Replace outputs that are there already")
        ->excludes(skip);
    command
        .add_option("--bitrate", options.kilobits,
                    "Kilobits a second of a lossy output, by default at least the input's")
        ->type_name("KBIT")
        ->check(CLI::Range(1, mostKilobits));
    command
        .add_option("--track", options.track,
                    "Audio track of a film, from 1; without it all, or the first where there is "
                    "room for one")
        ->type_name("N")
        ->check(CLI::Range(1, mostTracks));
    command.add_flag("--keep-going", options.keepsBrokenParts,
                     "Keep what could be read of an input that breaks off");

    command.option_defaults()->group("Run");
    command.add_option("--jobs", arguments.jobs, "Files that are processed at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, mostJobs));
    command
        .add_option("--report", arguments.report,
                    "Print what was done: speed, latency, levels, clipped samples")
        ->type_name("json")
        ->check(CLI::IsMember({"json"}));
    command.add_flag("--quiet", arguments.quiet, "No progress and no warnings");
}

} // namespace sorvane::tools
