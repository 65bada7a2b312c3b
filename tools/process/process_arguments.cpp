#include "process/process_arguments.h"

#include <CLI/CLI.hpp>

namespace sorvane::tools {

namespace {

constexpr int largestBlock = 1 << 24;

const char* const examples =
    "The output's extension chooses its format. It is as long as the input and aligned with it.\n"
    "A model is written as its path or its name; `sorvane models` lists those that are found.\n"
    "A bus is written as its name or as its number from 0; `sorvane info MODEL` lists them.\n"
    "With --out-dir all FILES are inputs, and may be folders. - stands for standard input or\n"
    "output, which are WAV unless --raw-input or --raw-output say otherwise.\n"
    "\n"
    "Examples:\n"
    "  sorvane process speech-48k talk.wav clean.flac --gain Noise=0\n"
    "  sorvane process speech-48k talk.wav clean.wav --remainder -12\n"
    "  sorvane process speech-48k talk.wav noise.wav --stem Noise\n"
    "  sorvane process speech-48k talk.wav removed.wav --gain Noise=0 --invert\n"
    "  sorvane process speech-48k *.wav --out-dir clean --gain Noise=0 --jobs 2\n"
    "  sorvane process speech-48k talk.wav --out-dir . --stems all\n"
    "  ffmpeg -i talk.mp3 -f wav - | sorvane process speech-48k - - --gain Noise=0 | aplay\n";

void addBusOptions(CLI::App& command, BusOptions& busses, std::string& stems) {
    command.option_defaults()->group("Busses");
    // Each occurrence of a repeatable option takes one value, or it would swallow the file names.
    CLI::Option* remainder = command.add_option(
        "--remainder", busses.remainderLevel,
        "Level of what the mask leaves over in dB, -96 to 0; models of one mask");
    remainder->type_name("DB");
    CLI::Option* gain =
        command.add_option("--gain", busses.gains, "Linear gain of a bus, 0 to 100; repeatable");
    gain->type_name("BUS=FACTOR")->allow_extra_args(false);
    command
        .add_option("--sensitivity", busses.sensitivities,
                    "How far the mask of a bus is bent, -100 to 100 per cent; repeatable")
        ->type_name("BUS=PERCENT")
        ->allow_extra_args(false);
    CLI::Option* stem = command.add_option("--stem", busses.stem, "Give this bus alone");
    stem->type_name("BUS")->excludes(gain)->excludes(remainder);
    command.add_option("--stems", stems, "Give each of these busses in a file of its own")
        ->type_name("all|BUS,BUS...")
        ->excludes(gain)
        ->excludes(remainder)
        ->excludes(stem);
}

void addSoundOptions(CLI::App& command, ProcessArguments& arguments) {
    command.option_defaults()->group("Sound");
    ProcessOptions& options = arguments.options;
    command
        .add_option("--amount", options.amount, "How much of the result is in the output, 0 to 1")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1.0));
    command.add_flag("--invert", options.invert, "Give what is removed instead of what is left");
    command.add_option("--start", arguments.start, "Where in the input to begin")
        ->type_name("TIME");
    command.add_option("--duration", arguments.duration, "How much of the input to take")
        ->type_name("TIME");
    command
        .add_option("--output-rate", options.outputRate,
                    "Sample rate of the output in hertz, 1/8 to 8 times the input's")
        ->type_name("HZ")
        ->check(CLI::PositiveNumber);
    command
        .add_option("--clip", arguments.clip,
                    "What becomes of samples beyond full scale: none (the default: floats keep "
                    "them), limit, or "
                    "scale (the whole becomes quieter)")
        ->type_name("MODE")
        ->check(CLI::IsMember({"none", "limit", "scale"}));
}

void addFileOptions(CLI::App& command, ProcessArguments& arguments) {
    command.option_defaults()->group("Files");
    CLI::Option* sampleType = command.add_option("--sample-type", arguments.sampleType,
                                                 "Samples of the output instead of the input's");
    sampleType->type_name("TYPE")->check(CLI::IsMember({"pcm16", "pcm24", "float32"}));
    command
        .add_option("--raw-input", arguments.rawInput,
                    "The inputs are packed samples: " + knownRawFormats())
        ->type_name("FORMAT:RATE:CHANNELS");
    command
        .add_option("--raw-output", arguments.rawOutput,
                    "Write packed samples, of the same formats")
        ->type_name("FORMAT")
        ->excludes(sampleType);
    command
        .add_option("--name", arguments.pattern,
                    "Names of the outputs, {input}.{ext}, or with stems {input}.{bus}.{ext}")
        ->type_name("PATTERN");
}

} // namespace

void addProcessArguments(CLI::App& command, ProcessArguments& arguments) {
    command.footer(examples);
    command.add_option("MODEL", arguments.options.model, "Model, by its name or path")->required();
    command.add_option("FILES", arguments.files, "INPUT OUTPUT, or INPUT... with --out-dir");
    addBusOptions(command, arguments.options.busses, arguments.stems);
    addSoundOptions(command, arguments);
    addFileOptions(command, arguments);
    addRunArguments(command, arguments.run, arguments.options);
    command.add_option("--block", arguments.options.block, "Samples that are processed at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, largestBlock));
}

} // namespace sorvane::tools
