#include "process_command.h"

#include "audio_reader.h"
#include "audio_writer.h"
#include "bus_options.h"
#include "interrupt.h"
#include "output_format.h"
#include "processor.h"
#include "program_error.h"
#include "stream_loop.h"
#include "text.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace sorvane::tools {

namespace {

constexpr int defaultBlock = 1024;
constexpr int largestBlock = 1 << 24;

struct ProcessOptions {
    std::string model;
    std::string input;
    std::string output;
    int block = defaultBlock;
    std::string sampleType; // as on the command line, or empty
    BusOptions busses;
};

SampleType sampleTypeOf(const std::string& text) {
    if (text == "pcm16")
        return SampleType::pcm16;
    if (text == "pcm24")
        return SampleType::pcm24;
    return text == "float32" ? SampleType::float32 : SampleType::sameAsInput;
}

void requireDifferentFiles(const std::string& input, const std::string& output) {
    std::error_code error;
    if (std::filesystem::is_regular_file(output, error) &&
        std::filesystem::equivalent(input, output, error))
        throw ProgramError(exitUsage, "input and output are the same file");
}

void runProcess(const ProcessOptions& options) {
    AudioReader reader(options.input);
    requireDifferentFiles(options.input, options.output);
    requireDifferentFiles(options.model, options.output);
    const OutputFormat format =
        chooseOutputFormat({options.output, reader.format(), reader.sampleRate(), reader.channels(),
                            reader.expectedLength(), sampleTypeOf(options.sampleType)});
    Processor processor(options.model, reader.channels(), reader.sampleRate());
    applyBusOptions(options.busses, processor);
    catchInterrupts();
    AudioWriter writer(
        options.output, format,
        {reader.sampleRate(), reader.channels(), reader.texts(), reader.channelMap()});
    streamThrough(reader, processor, writer, options.block);
    writer.finish();
    if (writer.clippedSamples() > 0)
        std::fprintf(stderr, "sorvane: warning: %s samples were beyond full scale and clipped\n",
                     groupedNumber(writer.clippedSamples()).c_str());
}

const char* const examples =
    "The output's extension chooses its format. It is as long as the input and aligned with it.\n"
    "A bus is written as its name or as its number from 0; `sorvane info MODEL` lists them.\n"
    "\n"
    "Examples:\n"
    "  sorvane process noise-gate-48k.model talk.wav clean.flac\n"
    "  sorvane process noise-gate-48k.model talk.wav clean.wav --remainder -30\n"
    "  sorvane process noise-gate-48k.model talk.wav noise.wav --stem Noise\n"
    "  sorvane process band.model song.flac quiet-drums.flac --gain Drums=0.3 --gain 2=1.5\n";

} // namespace

void addProcessCommand(CLI::App& program) {
    auto options = std::make_shared<ProcessOptions>();
    CLI::App* command = program.add_subcommand("process", "Send an audio file through a model");
    command->footer(examples);
    command->add_option("MODEL", options->model, "Model file")->required();
    command->add_option("INPUT", options->input, "Audio file to read")->required();
    command->add_option("OUTPUT", options->output, "Audio file to write")->required();

    // Each occurrence of a repeatable option takes one value, or it would swallow the file names.
    CLI::Option* remainder = command->add_option(
        "--remainder", options->busses.remainderLevel,
        "Level of what the mask leaves over in dB, -96 to 0; models of one mask");
    remainder->type_name("DB");
    CLI::Option* gain = command->add_option("--gain", options->busses.gains,
                                            "Linear gain of a bus, 0 to 100; repeatable");
    gain->type_name("BUS=FACTOR")->allow_extra_args(false);
    command
        ->add_option("--sensitivity", options->busses.sensitivities,
                     "How far the mask of a bus is bent, -100 to 100 per cent; repeatable")
        ->type_name("BUS=PERCENT")
        ->allow_extra_args(false);
    command->add_option("--stem", options->busses.stem, "Give this bus alone")
        ->type_name("BUS")
        ->excludes(gain)
        ->excludes(remainder);
    command
        ->add_option("--sample-type", options->sampleType,
                     "Samples of the output instead of the input's")
        ->type_name("TYPE")
        ->check(CLI::IsMember({"pcm16", "pcm24", "float32"}));
    command->add_option("--block", options->block, "Samples that are processed at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, largestBlock));
    command->callback([options] { runProcess(*options); });
}

} // namespace sorvane::tools
