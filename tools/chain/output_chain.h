#pragma once

#include "chain/level_stage.h"
#include "chain/output_writer.h"
#include "chain/process_options.h"
#include "chain/processor_stage.h"
#include "chain/rate_stage.h"
#include "chain/sample_store.h"
#include "sound/audio_source.h"

#include <memory>

namespace sorvane::tools {

/// The way of an input's audio to one file: processor and blend, rate, level, writer. It owns its
/// processor, for each stem has its own.
///
/// Use: write() all blocks, finish(), then complete() once the factor of --clip scale is known from
/// the peaks of all files that belong together, then commit().
class OutputChain {
public:
    /// `length` is what the input is expected to give, or unknownLength. `media` is the file that the
    /// output is a track of, or null. Raises ProgramError.
    OutputChain(const OutputPlan& plan, const AudioSource& source, std::int64_t length,
                const ProcessOptions& options, MediaWriter* media);

    void write(const float* samples, int count) { first().write(samples, count); }
    void finish() { first().finish(); }

    /// The factor that brings the result to full scale at most.
    [[nodiscard]] double factorToFit() const;

    void complete(double factor);
    void commit() { writer.sink->commit(); }

    /// The highest level of the result before it was scaled or limited.
    [[nodiscard]] double peak() const { return store ? store->peak() : level->peak(); }
    [[nodiscard]] std::int64_t clippedSamples() const { return level->clippedSamples(); }
    [[nodiscard]] int latency() const { return stream.latency(); }
    [[nodiscard]] const OutputPlan& plan() const { return outputPlan; }

private:
    AudioSink& first() { return *processing; }

    OutputPlan outputPlan;
    host::Stream stream;
    int outputRate;
    // From the last to the first, for each hands on to one above it.
    Writer writer;
    std::unique_ptr<LevelStage> level;
    std::unique_ptr<SampleStore> store; // only with --clip scale
    std::unique_ptr<RateStage> rate;    // only where the rate changes
    std::unique_ptr<ProcessorStage> processing;
};

} // namespace sorvane::tools
