#include "process/process_command.h"

#include "chain/process_options.h"
#include "chain/processor.h"
#include "console/console.h"
#include "console/interrupt.h"
#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"
#include "process/process_arguments.h"
#include "run/output_plan.h"
#include "run/process_run.h"
#include "run/run_report.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

[[noreturn]] void fail(const std::string& message) {
    throw ProgramError(exitUsage, message);
}

SampleType sampleTypeOf(const std::string& text) {
    if (text == "pcm16")
        return SampleType::pcm16;
    if (text == "pcm24")
        return SampleType::pcm24;
    return text == "float32" ? SampleType::float32 : SampleType::sameAsInput;
}

ClipMode clipModeOf(const std::string& text) {
    if (text == "limit")
        return ClipMode::limit;
    return text == "scale" ? ClipMode::scale : ClipMode::none;
}

double timeOf(const std::string& text, const std::string& option) {
    const std::optional<double> seconds = parseTime(text);
    if (!seconds)
        fail(option + ": " + inQuotes(text) + " is not a time such as 90, 1:30 or 1:02:03.5");
    return *seconds;
}

ProcessOptions optionsOf(const ProcessArguments& arguments) {
    ProcessOptions options = arguments.options;
    options.sampleType = sampleTypeOf(arguments.sampleType);
    options.clip = clipModeOf(arguments.clip);
    if (!arguments.start.empty())
        options.start = timeOf(arguments.start, "--start");
    if (!arguments.duration.empty())
        options.duration = timeOf(arguments.duration, "--duration");
    if (!arguments.rawInput.empty())
        options.rawInput = parseRawInput(arguments.rawInput, "--raw-input");
    if (!arguments.rawOutput.empty())
        options.rawOutput = parseRawFormat(arguments.rawOutput, "--raw-output");
    return options;
}

/// All files are inputs, or the last is the output.
void requireSoundFiles(const ProcessArguments& arguments) {
    std::vector<std::string> inputs = arguments.files;
    if (arguments.outputFolder.empty()) {
        if (inputs.size() < 2)
            fail("an OUTPUT is required, or --out-dir");
        if (inputs.size() == 2 && inputs.back() == "-" && arguments.rawOutput.empty())
            fail("standard output takes packed samples; --raw-output names their format");
        if (!arguments.stems.empty() || !arguments.pattern.empty())
            fail("--stems and --name need --out-dir");
        inputs.pop_back();
    }
    for (const std::string& input : inputs)
        if (fs::path(input).extension() == ".model")
            fail("only one model can be used: a processor of several takes audio and gives none");
    if (arguments.outputFolder.empty() && inputs.size() > 1)
        fail("several inputs need --out-dir");
    const auto numStandard = std::count(inputs.begin(), inputs.end(), "-");
    if (numStandard > 0 && arguments.rawInput.empty())
        fail("standard input gives packed samples; --raw-input names their format");
    if (numStandard > 1)
        fail("standard input can be read only once");
}

void makeFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder))
        throw ProgramError(exitOutput,
                           "can't make the folder " + inQuotes(folder) + ": " + error.message());
}

std::vector<FilePlan> planFiles(const ProcessArguments& arguments) {
    if (arguments.outputFolder.empty())
        return {{arguments.files.front(), {{arguments.files.back(), std::nullopt}}}};
    // What is wrong with the model or the options for busses shows before the first file.
    Processor processor(arguments.options.model, 1, 48000.0);
    applyBusOptions(arguments.options.busses, processor);
    NamingRules rules;
    rules.folder = arguments.outputFolder;
    rules.pattern = arguments.pattern;
    rules.extension = arguments.rawOutput.empty() ? "" : "raw";
    if (!arguments.stems.empty()) {
        rules.stems = findBusses(arguments.stems, processor.busNames(), "--stems");
        isolateBus(rules.stems.front(), processor, "--stems");
    }
    if (arguments.options.busses.stem)
        rules.mixName = *arguments.options.busses.stem;
    return planOutputs(arguments.files, rules, processor.busNames());
}

void runProcess(const ProcessArguments& arguments) {
    requireSoundFiles(arguments);
    const ProcessOptions options = optionsOf(arguments);
    const std::vector<FilePlan> plans = planFiles(arguments);
    requireWritable(plans, options.model, arguments.force);
    if (!arguments.outputFolder.empty())
        makeFolder(arguments.outputFolder);
    catchInterrupts();
    platform::ignoreBrokenPipes();

    std::vector<FileReport> reports;
    {
        Console console(arguments.quiet, static_cast<int>(plans.size()));
        reports = runFiles(plans, options, arguments.jobs, console);
    }
    if (arguments.report == "json") {
        // Nothing may come among the samples.
        const bool audioOnOutput = plans.front().outputs.front().path == "-";
        std::fputs(reportAsJson(options.model, reports).c_str(), audioOnOutput ? stderr : stdout);
    }
    for (const FileReport& report : reports)
        if (report.failure)
            throw ProgramEnd(report.failure->exitCode);
}

} // namespace

void addProcessCommand(CLI::App& program) {
    auto arguments = std::make_shared<ProcessArguments>();
    CLI::App* command = program.add_subcommand("process", "Send audio files through a model");
    addProcessArguments(*command, *arguments);
    command->callback([arguments] { runProcess(*arguments); });
}

} // namespace sorvane::tools
