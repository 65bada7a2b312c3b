#include "denoise/denoise_command.h"

#include "chain/bus_options.h"
#include "chain/models.h"
#include "chain/process_options.h"
#include "console/program_error.h"
#include "console/text.h"
#include "run/output_plan.h"
#include "run/run_arguments.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

const char* const examples =
    "The output is called NAME.clean.EXT and lies beside the input, in the input's format. A "
    "folder\n"
    "stands for the audio files in it. Inputs whose outputs are there are passed over where there\n"
    "are several, so that the same command goes on after a break. Films, M4A, AAC and WMA take\n"
    "ffmpeg. - is standard input, with WAV on standard output.\n"
    "\n"
    "Examples:\n"
    "  sorvane denoise talk.wav\n"
    "  sorvane denoise lecture.mp4 -o clean.mp4\n"
    "  sorvane denoise recordings --recursive --out-dir clean --jobs 2\n"
    "  sorvane denoise talk.m4a --keep 10%\n"
    "  sorvane denoise talk.wav --rest -o noise.wav\n"
    "  arecord -f S16_LE -r 48000 | sorvane denoise - | aplay\n";

struct DenoiseArguments {
    ProcessOptions options;
    RunArguments run;
    std::vector<std::string> inputs;
    std::string output;
    std::string keep;
    bool rest = false;
};

[[noreturn]] void fail(const std::string& message) {
    throw ProgramError(exitUsage, message);
}

/// The gain of the noise: "10%", "-20dB", "-20 dB" or "-20".
double gainOf(const std::string& text) {
    std::string number = lowerCase(text);
    const auto takeOff = [&](const std::string& end) {
        const bool is = number.size() > end.size() &&
                        number.compare(number.size() - end.size(), end.size(), end) == 0;
        if (is)
            number.erase(number.size() - end.size());
        return is;
    };
    const bool isPercent = takeOff("%");
    if (!isPercent)
        takeOff("db");
    number.erase(number.find_last_not_of(' ') + 1);
    const std::optional<double> value = parseNumber(number);
    const bool isLevel = value && !isPercent && *value <= 0.0 && *value >= -96.0;
    const bool isShare = value && isPercent && *value >= 0.0 && *value <= 100.0;
    if (!isLevel && !isShare)
        fail("--keep: " + inQuotes(text) +
             " is neither a share, 0% to 100%, nor a level, -96dB to 0dB");
    return isPercent ? *value / 100.0 : std::pow(10.0, *value / 20.0);
}

ProcessOptions optionsOf(const DenoiseArguments& arguments) {
    ProcessOptions options = arguments.options;
    options.busses.noiseGain = arguments.keep.empty() ? 0.0 : gainOf(arguments.keep);
    options.invert = arguments.rest;
    // What is wrong with the model shows before the first file.
    if (options.model.empty()) {
        speechModelFor(48000.0);
    } else {
        options.model = pathOfModel(options.model);
        host::Stream stream(openModel(options.model), 1, 48000.0);
        applyBusOptions(options.busses, stream);
    }
    return options;
}

Batch planFiles(const DenoiseArguments& arguments) {
    Batch batch;
    batch.tellsResult = true;
    const std::string suffix = arguments.rest ? ".rest" : ".clean";
    const bool isNamed = !arguments.output.empty();
    const bool toFolder = !arguments.run.outputFolder.empty();
    batch.inputs =
        findInputs(arguments.inputs, {arguments.run.recursive, arguments.run.outputFolder, suffix});
    const std::vector<InputPath>& files = batch.inputs.files;
    if (isNamed && (batch.inputs.hasFolder || files.size() > 1))
        fail("-o names one output, and there are several inputs; --out-dir names a folder");
    const bool isStream = files.size() == 1 && files.front().path == "-" && !toFolder;
    if (isNamed || isStream) {
        batch.plans = {{files.front().path, {{isNamed ? arguments.output : "-", std::nullopt}}}};
        return batch;
    }
    NamingRules rules;
    rules.folder = arguments.run.outputFolder;
    // In a folder of their own the outputs keep their names.
    std::error_code error;
    bool isOwnFolder = toFolder;
    for (const InputPath& file : files)
        isOwnFolder = isOwnFolder && !fs::equivalent(fs::absolute(file.path, error).parent_path(),
                                                     arguments.run.outputFolder, error);
    rules.pattern =
        isOwnFolder && !arguments.rest ? "{input}.{ext}" : "{input}" + suffix + ".{ext}";
    batch.plans = planOutputs(files, rules, {});
    return batch;
}

void runDenoise(DenoiseArguments arguments) {
    requireOneStandardInput(arguments.inputs);
    const ProcessOptions options = optionsOf(arguments);
    Batch batch = planFiles(arguments);
    if ((batch.plans.size() > 1 || batch.inputs.hasFolder) && !arguments.run.force)
        arguments.run.skipExisting = true;
    runBatch(std::move(batch), options, arguments.run);
}

} // namespace

void addDenoiseCommand(CLI::App& program) {
    auto arguments = std::make_shared<DenoiseArguments>();
    CLI::App* command =
        program.add_subcommand("denoise", "Take the noise out of recordings of speech");
    command->ignore_case();
    command->footer(examples);
    command->add_option("INPUT", arguments->inputs, "Audio files, films, folders or -")->required();
    CLI::Option* output =
        command->add_option("-o,--output", arguments->output, "Name of the output");
    output->type_name("OUTPUT");
    command
        ->add_option("--model", arguments->options.model,
                     "Another model than the installed speech model that suits the rate best")
        ->type_name("NAME|PATH");
    CLI::Option* keep = command->add_option(
        "--keep", arguments->keep, "How much of the noise to keep: 10%, or a level as -20dB");
    keep->type_name("LEVEL");
    command->add_flag("--rest", arguments->rest, "Give what was removed instead")->excludes(keep);
    addRunArguments(*command, arguments->run, arguments->options);
    output->excludes(command->get_option("--out-dir"));
    command->callback([arguments] { runDenoise(*arguments); });
}

} // namespace sorvane::tools
