#include "run/file_job.h"

#include "chain/output_chain.h"
#include "console/program_error.h"
#include "console/text.h"
#include "sound/audio_reader.h"
#include "sound/raw_reader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>

namespace sorvane::tools {

namespace {

// A header can claim any length, and what is reckoned from it must not overflow.
constexpr std::int64_t longestExpected = std::numeric_limits<std::int64_t>::max() / 16;

class FileJob {
public:
    FileJob(const FilePlan& filePlan, const ProcessOptions& processOptions, Console& errors)
        : plan(filePlan), options(processOptions), console(errors), source(openSource()) {
        skipToStart();
        // A block that is longer than the file needs no more room than the file.
        if (expected != unknownLength)
            options.block = static_cast<int>(std::clamp<std::int64_t>(expected, 1, options.block));
        for (const OutputPlan& output : plan.outputs)
            chains.push_back(std::make_unique<OutputChain>(output, *source, expected, options));
    }

    FileReport run() {
        const auto begin = std::chrono::steady_clock::now();
        const std::int64_t length = pass();
        for (const auto& chain : chains)
            chain->finish();
        // One factor for all, so that stems still add up.
        double factor = 1.0;
        for (const auto& chain : chains)
            factor = std::min(factor, chain->factorToFit());
        for (const auto& chain : chains)
            chain->complete(factor);
        for (const auto& chain : chains)
            chain->commit();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        warn();
        return report(length, factor, elapsed.count());
    }

private:
    [[nodiscard]] std::unique_ptr<AudioSource> openSource() const {
        if (options.rawInput)
            return std::make_unique<RawReader>(plan.input, *options.rawInput);
        return std::make_unique<AudioReader>(plan.input);
    }

    [[nodiscard]] std::int64_t toSamples(double seconds) const {
        return std::llround(seconds * source->sampleRate());
    }

    void skipToStart() {
        const std::int64_t start = toSamples(options.start);
        const std::int64_t skipped = start > 0 ? source->skip(start) : 0;
        if (skipped < start)
            throw ProgramError(
                exitUsage, "--start: " + inQuotes(plan.input) + " is over after " +
                               shortNumber(static_cast<double>(skipped) / source->sampleRate()) +
                               " s");
        expected = source->expectedLength();
        if (expected != unknownLength)
            expected = std::clamp<std::int64_t>(expected - skipped, 0, longestExpected);
        if (options.duration) {
            wanted = toSamples(*options.duration);
            expected = expected == unknownLength ? unknownLength : std::min(expected, wanted);
        }
    }

    /// Sends the input to all outputs; returns its length.
    std::int64_t pass() {
        std::vector<float> block(static_cast<std::size_t>(options.block) *
                                 static_cast<std::size_t>(source->channels()));
        std::int64_t length = 0;
        while (length < wanted) {
            const auto count = static_cast<int>(
                source->read(block.data(), std::min<std::int64_t>(options.block, wanted - length)));
            if (count == 0)
                break;
            for (const auto& chain : chains)
                chain->write(block.data(), count);
            length += count;
            console.advance(
                static_cast<double>(count) / source->sampleRate(),
                expected > 0 ? static_cast<double>(count) / static_cast<double>(expected) : 0.0);
        }
        return length;
    }

    void warn() {
        if (const std::string text = source->warning(); !text.empty())
            console.warn(text);
        for (const auto& chain : chains)
            if (const std::int64_t count = chain->clippedSamples(); count > 0)
                console.warn(inQuotes(chain->plan().path) + ": " + groupedNumber(count) +
                             (count == 1 ? " sample was" : " samples were") +
                             " beyond full scale and clipped");
    }

    [[nodiscard]] FileReport report(std::int64_t length, double factor, double elapsed) const {
        FileReport result;
        result.input = plan.input;
        result.audioSeconds = static_cast<double>(length) / source->sampleRate();
        result.processingSeconds = elapsed;
        result.latencySamples = chains.front()->latency();
        result.latencySeconds = static_cast<double>(result.latencySamples) / source->sampleRate();
        for (const auto& chain : chains)
            result.outputs.push_back({chain->plan().path, chain->plan().bus, chain->peak(), factor,
                                      chain->clippedSamples()});
        return result;
    }

    const FilePlan& plan;
    ProcessOptions options;
    Console& console;
    std::unique_ptr<AudioSource> source;
    std::int64_t expected = unknownLength; // samples per channel, as the next
    std::int64_t wanted = std::numeric_limits<std::int64_t>::max();
    std::vector<std::unique_ptr<OutputChain>> chains;
};

} // namespace

FileReport runFile(const FilePlan& plan, const ProcessOptions& options, Console& console) {
    return FileJob(plan, options, console).run();
}

} // namespace sorvane::tools
