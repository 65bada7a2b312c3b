#include "bench/bench_command.h"

#include "chain/models.h"
#include "console/json_text.h"
#include "console/platform.h"
#include "console/program_error.h"
#include "console/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace sorvane::tools {

namespace {

constexpr double highestRate = 1e7;
constexpr int mostChannels = 1024;
constexpr double warmUpSeconds = 0.5;

struct BenchOptions {
    std::string model;
    double seconds = 10.0;
    int channels = 1;
    double sampleRate = 0.0; ///< 0 for the model's own
    bool json = false;
};

struct BenchResult {
    int samplesPerFrame = 0;
    double audioSeconds = 0.0;
    double runSeconds = 0.0;
    double medianFrame = 0.0; // seconds, as the next
    double slowFrame = 0.0;   // 99 of 100 are faster
    int latencySamples = 0;
    std::int64_t memoryBefore = 0; // bytes, as the next
    std::int64_t memoryPeak = 0;
};

/// Seconds that one push, and the pull of what it gave, takes.
double timePush(host::Stream& stream, const std::vector<float>& input, std::vector<float>& output) {
    const auto begin = std::chrono::steady_clock::now();
    stream.push(input);
    while (stream.pull(output) > 0) {
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The value below which `part` of the sorted values lie.
double percentile(const std::vector<double>& sorted, double part) {
    const auto rank =
        static_cast<std::size_t>(std::ceil(part * static_cast<double>(sorted.size())));
    return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

/// Fills in the rate.
BenchResult measure(BenchOptions& options) {
    BenchResult result;
    result.memoryBefore = platform::peakMemory();
    const host::Model model = openModel(options.model);
    if (options.sampleRate == 0.0)
        options.sampleRate = model.info().sampleRate;
    host::Stream stream(model, options.channels, options.sampleRate);
    result.samplesPerFrame = std::max(
        1, static_cast<int>(std::lround(stream.info().secondsPerHop * options.sampleRate)));
    result.latencySamples = stream.latency();

    std::vector<float> input(static_cast<std::size_t>(result.samplesPerFrame) *
                             static_cast<std::size_t>(options.channels));
    std::vector<float> output(input.size());
    std::minstd_rand random(1);
    const auto nextTime = [&] {
        for (float& sample : input) // different in every frame, as audio is
            sample = static_cast<float>(random() & 0xFFFFU) / 65536.0F - 0.5F;
        return timePush(stream, input, output);
    };
    const double secondsPerFrame = result.samplesPerFrame / options.sampleRate;
    const auto framesIn = [&](double seconds) {
        return static_cast<std::size_t>(std::ceil(seconds / secondsPerFrame));
    };
    for (std::size_t i = framesIn(warmUpSeconds); i > 0; --i)
        nextTime();
    std::vector<double> times(framesIn(options.seconds));
    std::generate(times.begin(), times.end(), nextTime);
    result.audioSeconds = static_cast<double>(times.size()) * secondsPerFrame;
    result.runSeconds = std::accumulate(times.begin(), times.end(), 0.0);
    std::sort(times.begin(), times.end());
    result.medianFrame = percentile(times, 0.5);
    result.slowFrame = percentile(times, 0.99);
    result.memoryPeak = platform::peakMemory();
    return result;
}

void printText(const BenchOptions& options, const BenchResult& result) {
    const auto milliseconds = [](double seconds) {
        return shortNumber(1000.0 * seconds, 4) + " ms";
    };
    const auto megabytes = [](std::int64_t bytes) {
        return shortNumber(static_cast<double>(bytes) / 1048576.0, 4) + " MiB";
    };
    std::printf("audio             %s s of noise, %d channel%s at %s Hz\n",
                shortNumber(result.audioSeconds, 4).c_str(), options.channels,
                options.channels == 1 ? "" : "s",
                groupedNumber(std::llround(options.sampleRate)).c_str());
    std::printf("real-time factor  %s, %s times as fast as real time\n",
                shortNumber(result.runSeconds / result.audioSeconds, 3).c_str(),
                shortNumber(result.audioSeconds / result.runSeconds, 3).c_str());
    std::printf("time per frame    %s median, %s 99th percentile; a frame lasts %s\n",
                milliseconds(result.medianFrame).c_str(), milliseconds(result.slowFrame).c_str(),
                milliseconds(result.samplesPerFrame / options.sampleRate).c_str());
    std::printf("latency           %s samples, %s\n", groupedNumber(result.latencySamples).c_str(),
                milliseconds(result.latencySamples / options.sampleRate).c_str());
    if (result.memoryPeak > 0)
        std::printf("memory            %s at most, %s before the model was loaded\n",
                    megabytes(result.memoryPeak).c_str(), megabytes(result.memoryBefore).c_str());
}

void printJson(const BenchOptions& options, const BenchResult& result) {
    const Json json{
        {"model", options.model},
        {"channels", options.channels},
        {"sampleRate", options.sampleRate},
        {"audioSeconds", result.audioSeconds},
        {"realTimeFactor", result.runSeconds / result.audioSeconds},
        {"secondsPerFrame", {{"median", result.medianFrame}, {"percentile99", result.slowFrame}}},
        {"frameSeconds", result.samplesPerFrame / options.sampleRate},
        {"latencySamples", result.latencySamples},
        {"peakMemoryBytes", result.memoryPeak},
        {"peakMemoryBytesBeforeLoading", result.memoryBefore},
    };
    std::fputs(jsonText(json).c_str(), stdout);
}

void runBench(BenchOptions options) {
    const BenchResult result = measure(options);
    if (options.json)
        printJson(options, result);
    else
        printText(options, result);
}

} // namespace

void addBenchCommand(CLI::App& program) {
    auto options = std::make_shared<BenchOptions>();
    CLI::App* command = program.add_subcommand("bench", "Measure how fast a model runs");
    command->ignore_case();
    command->add_option("MODEL", options->model, "Model, by its name or path")->required();
    command->add_option("--seconds", options->seconds, "How much audio is processed")
        ->capture_default_str()
        ->check(CLI::Range(0.1, 86400.0));
    command->add_option("--channels", options->channels, "Channels of the audio")
        ->capture_default_str()
        ->check(CLI::Range(1, mostChannels));
    command
        ->add_option("--rate", options->sampleRate,
                     "Sample rate of the audio in hertz, by default the model's")
        ->type_name("HZ")
        ->check(CLI::Range(1.0, highestRate));
    command->add_flag("--json", options->json, "Print the figures as JSON");
    command->footer("Noise is pushed frame by frame; each push is timed.\n\n"
                    "Example:\n  sorvane bench speech-48k --channels 2\n");
    command->callback([options] { runBench(*options); });
}

} // namespace sorvane::tools
