#include "console/console.h"
#include "console/interrupt.h"
#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"
#include "run/process_run.h"
#include "run/run_arguments.h"
#include "run/run_report.h"
#include "sound/partial_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

std::set<std::string> foldersOf(const std::vector<FilePlan>& plans) {
    std::set<std::string> folders;
    for (const FilePlan& plan : plans)
        for (const OutputPlan& output : plan.outputs)
            if (output.path != "-")
                folders.insert(fs::path(output.path).parent_path().string());
    return folders;
}

void makeFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder))
        throw ProgramError(exitOutput,
                           "can't make the folder " + inQuotes(folder) + ": " + error.message());
}

/// "40 files: 37 done, 2 failed, 1 there already; 3 others hold no audio"
std::string summaryOf(const std::vector<FileReport>& reports, int numSkipped, int numWithoutAudio) {
    const auto failed = std::count_if(reports.begin(), reports.end(), [](const FileReport& report) {
        return report.failure.has_value();
    });
    const auto total = static_cast<int>(reports.size()) + numSkipped;
    std::string text = std::to_string(total) + (total == 1 ? " file: " : " files: ") +
                       std::to_string(static_cast<int>(reports.size()) - failed) + " done";
    if (failed > 0)
        text += ", " + std::to_string(failed) + " failed";
    if (numSkipped > 0)
        text += ", " + std::to_string(numSkipped) + " there already";
    if (numWithoutAudio > 0)
        text += "; " + std::to_string(numWithoutAudio) +
                (numWithoutAudio == 1 ? " other holds" : " others hold") + " no audio";
    return text;
}

std::vector<FileReport> runAll(const Batch& batch, int numSkipped, const ProcessOptions& options,
                               const RunArguments& arguments) {
    const auto numFiles = static_cast<int>(batch.plans.size());
    Console console(arguments.quiet, numFiles);
    std::vector<FileReport> reports;
    try {
        reports = runFiles(batch.plans, options, arguments.jobs, console);
    } catch (const ProgramError& error) {
        if (error.exitCode() <= exitSignalBase || numFiles < 2)
            throw;
        throw ProgramError(error.exitCode(), std::string(error.what()) +
                                                 "; with --skip-existing the same command goes on");
    }
    if (numFiles + numSkipped > 1 || batch.inputs.hasFolder)
        console.tell(summaryOf(reports, numSkipped, batch.inputs.numWithoutAudio));
    else if (batch.tellsResult && numFiles == 1 && !reports.front().failure)
        console.tell(resultText(reports.front()));
    return reports;
}

} // namespace

void requireOneStandardInput(const std::vector<std::string>& inputs) {
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw ProgramError(exitUsage, "standard input can be read only once");
}

void runBatch(Batch batch, const ProcessOptions& options, const RunArguments& arguments) {
    const int numSkipped = arguments.skipExisting ? removeDone(batch.plans) : 0;
    requireWritable(batch.plans, options.model, arguments.force);
    for (const std::string& folder : foldersOf(batch.plans)) {
        if (!arguments.outputFolder.empty())
            makeFolder(folder);
        removeLeftOvers(folder);
    }
    const bool audioOnOutput =
        !batch.plans.empty() && batch.plans.front().outputs.front().path == "-";
    catchInterrupts();
    platform::ignoreBrokenPipes();
    silenceLibraries();

    const std::vector<FileReport> reports = runAll(batch, numSkipped, options, arguments);
    if (arguments.report == "json") // nothing may come among the samples
        std::fputs(reportAsJson(options.model, reports).c_str(),
                   audioOnOutput ? messageStream() : stdout);
    for (const FileReport& report : reports)
        if (report.failure)
            throw ProgramEnd(report.failure->exitCode);
}

} // namespace sorvane::tools
