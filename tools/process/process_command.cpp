#include "process/process_command.h"

#include "chain/bus_options.h"
#include "chain/models.h"
#include "chain/process_options.h"
#include "console/console.h"
#include "console/program_error.h"
#include "console/text.h"
#include "process/process_arguments.h"
#include "run/output_plan.h"
#include "run/run_arguments.h"
#include "sound/media_format.h"
#include "sound/output_format.h"

#include <CLI/CLI.hpp>
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

bool isSoundFile(const std::string& path) {
    const std::string extension = extensionOf(path);
    return isKnownExtension(extension) || isMediaExtension(extension);
}

/// All files are inputs, or the last is the output.
void requireSoundFiles(const ProcessArguments& arguments) {
    std::vector<std::string> inputs = arguments.files;
    const std::string& model = arguments.options.model;
    const bool toFolder = !arguments.run.outputFolder.empty();
    if (inputs.size() < (toFolder ? 1 : 2) && isSoundFile(model))
        fail("the model is missing: it comes before the files, as in `sorvane process speech-48k " +
             printable(model) + " OUTPUT`; `sorvane denoise` chooses one itself");
    if (inputs.empty())
        fail(toFolder ? "an INPUT is required" : "an INPUT and an OUTPUT are required");
    for (const std::string& input : inputs)
        if (extensionOf(input) == "model")
            fail("only one model can be used, and " + inQuotes(input) + " would be the second");
    if (!toFolder) {
        if (inputs.size() < 2)
            fail("an OUTPUT is required, or --out-dir");
        if (!arguments.stems.empty() || !arguments.pattern.empty())
            fail("--stems and --name need --out-dir");
        inputs.pop_back();
        std::error_code error;
        if (inputs.size() > 1)
            fail("several inputs need --out-dir");
        if (inputs.front() != "-" && fs::is_directory(inputs.front(), error))
            throw ProgramError(exitInput,
                               inQuotes(inputs.front()) + " is a directory, which needs --out-dir");
    }
    requireOneStandardInput(inputs);
}

/// What is wrong with the model or the options for busses shows before the first file.
host::Stream triedStream(const ProcessArguments& arguments) {
    host::Stream stream(openModel(arguments.options.model), 1, 48000.0);
    applyBusOptions(arguments.options.busses, stream);
    return stream;
}

/// Whether what was asked leaves the sound as it is.
bool changesNothing(const ProcessArguments& arguments, const host::Stream& stream) {
    const ProcessOptions& options = arguments.options;
    const BusOptions& busses = options.busses;
    if (options.invert || busses.stem || !arguments.stems.empty())
        return false;
    if (options.amount == 0.0)
        return true;
    for (std::size_t bus = 0; bus < stream.busNames().size(); ++bus)
        if (stream.gain(static_cast<int>(bus)) != 1.0F)
            return false;
    return busses.remainderLevel.value_or(0.0) == 0.0;
}

Batch planFiles(const ProcessArguments& arguments, const host::Stream& stream) {
    Batch batch;
    if (arguments.run.outputFolder.empty()) {
        batch.plans = {{arguments.files.front(), {{arguments.files.back(), std::nullopt}}}};
        return batch;
    }
    NamingRules rules;
    rules.folder = arguments.run.outputFolder;
    rules.pattern = arguments.pattern;
    rules.extension = arguments.rawOutput.empty() ? "" : "raw";
    if (!arguments.stems.empty()) {
        rules.stems = findBusses(arguments.stems, stream.busNames(), "--stems");
        host::Stream tried(openModel(arguments.options.model), 1, 48000.0);
        isolateBus(rules.stems.front(), tried, "--stems");
    }
    if (arguments.options.busses.stem)
        rules.mixName = *arguments.options.busses.stem;
    batch.inputs =
        findInputs(arguments.files, {arguments.run.recursive, arguments.run.outputFolder, ""});
    batch.plans = planOutputs(batch.inputs.files, rules, stream.busNames());
    return batch;
}

void runProcess(const ProcessArguments& arguments) {
    requireAssignments(arguments.options.busses);
    requireSoundFiles(arguments);
    ProcessOptions options = optionsOf(arguments);
    options.model = pathOfModel(options.model);
    const host::Stream stream = triedStream(arguments);
    Batch batch = planFiles(arguments, stream);
    runBatch(std::move(batch), options, arguments.run);
    if (!arguments.run.quiet && changesNothing(arguments, stream))
        printMessage("nothing that was asked changes the sound; --gain " +
                     printable(stream.busNames().back()) + "=0 takes out what bus " +
                     inQuotes(stream.busNames().back()) + " has");
}

} // namespace

void addProcessCommand(CLI::App& program) {
    auto arguments = std::make_shared<ProcessArguments>();
    CLI::App* command =
        program.add_subcommand("process", "Send audio files through a model, with all its options");
    command->ignore_case();
    addProcessArguments(*command, *arguments);
    command->callback([arguments] { runProcess(*arguments); });
}

} // namespace sorvane::tools
