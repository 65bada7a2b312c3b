#include "run/track_pass.h"

#include "console/program_error.h"
#include "console/text.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sorvane::tools {

namespace {

// A header can claim any length, and what is reckoned from it must not overflow.
constexpr std::int64_t longestExpected = std::numeric_limits<std::int64_t>::max() / 16;

} // namespace

TrackPass::TrackPass(std::string inputName, std::unique_ptr<AudioSource> audioSource,
                     const std::vector<OutputPlan>& outputs, const ProcessOptions& processOptions,
                     const std::vector<MediaWriter*>& media, double shareOfFile, Console& errors)
    : name(std::move(inputName)),
      source(std::move(audioSource)),
      options(processOptions),
      console(errors),
      share(shareOfFile) {
    skipToStart();
    // A block that is longer than the file needs no more room than the file.
    if (expected != unknownLength)
        options.block = static_cast<int>(std::clamp<std::int64_t>(expected, 1, options.block));
    for (std::size_t i = 0; i < outputs.size(); ++i)
        chains.push_back(
            std::make_unique<OutputChain>(outputs[i], *source, expected, options, media[i]));
}

void TrackPass::run() {
    pass();
    for (const auto& chain : chains)
        chain->finish();
    // One factor for all, so that stems still add up.
    for (const auto& chain : chains)
        factor = std::min(factor, chain->factorToFit());
    for (const auto& chain : chains)
        chain->complete(factor);
    warn();
}

void TrackPass::commit() {
    for (const auto& chain : chains)
        chain->commit();
}

std::int64_t TrackPass::toSamples(double seconds) const {
    return std::llround(seconds * source->sampleRate());
}

void TrackPass::skipToStart() {
    const std::int64_t start = toSamples(options.start);
    const std::int64_t skipped = start > 0 ? source->skip(start) : 0;
    if (skipped < start)
        throw ProgramError(
            exitUsage, "--start: " + inQuotes(name) + " is over after " +
                           shortNumber(static_cast<double>(skipped) / source->sampleRate()) + " s");
    expected = source->expectedLength();
    if (expected != unknownLength)
        expected = std::clamp<std::int64_t>(expected - skipped, 0, longestExpected);
    if (options.duration) {
        wanted = toSamples(*options.duration);
        expected = expected == unknownLength ? unknownLength : std::min(expected, wanted);
    }
}

void TrackPass::pass() {
    std::vector<float> block(static_cast<std::size_t>(options.block) *
                             static_cast<std::size_t>(source->channels()));
    while (length < wanted) {
        const auto count = static_cast<int>(readBlock(block));
        if (count == 0)
            break;
        for (const auto& chain : chains)
            chain->write(block.data(), count);
        length += count;
        const double part =
            expected > 0 ? share * static_cast<double>(count) / static_cast<double>(expected) : 0.0;
        advanced += part;
        console.advance(name, static_cast<double>(count) / source->sampleRate(), part);
    }
    if (length == 0 && wanted > 0 && !options.rawInput)
        throw ProgramError(exitInput, inQuotes(name) + " holds no audio");
}

std::int64_t TrackPass::readBlock(std::vector<float>& block) {
    try {
        return source->read(block.data(), std::min<std::int64_t>(options.block, wanted - length));
    } catch (const ProgramError& error) {
        if (error.exitCode() != exitInput || length == 0)
            throw;
        if (!options.keepsBrokenParts)
            throw ProgramError(exitInput, std::string(error.what()) +
                                              "; --keep-going keeps what could be read");
        console.warn(error.what());
        return 0;
    }
}

void TrackPass::warn() {
    if (const std::string text = source->warning(); !text.empty())
        console.warn(text);
    for (const auto& chain : chains)
        if (const std::int64_t count = chain->clippedSamples(); count > 0)
            console.warn(inQuotes(chain->plan().path) + ": " + groupedNumber(count) +
                         (count == 1 ? " sample was" : " samples were") +
                         " beyond full scale and clipped");
}

void TrackPass::report(FileReport& result) const {
    result.audioSeconds += static_cast<double>(length) / source->sampleRate();
    result.latencySamples = chains.front()->latency();
    result.latencySeconds = static_cast<double>(result.latencySamples) / source->sampleRate();
    for (const auto& chain : chains)
        result.outputs.push_back({chain->plan().path, chain->plan().bus, chain->peak(), factor,
                                  chain->clippedSamples()});
}

} // namespace sorvane::tools
