#pragma once

#include "chain/output_chain.h"
#include "chain/process_options.h"
#include "console/console.h"
#include "run/run_report.h"
#include "sound/audio_source.h"
#include "sound/media_writer.h"

#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace sorvane::tools {

/// Sends one audio track of an input to all outputs that are made of it.
class TrackPass {
public:
    /// `media` has a file for each output that is one of several tracks, and null for the others.
    /// `share` is what the track is of the file, for the progress.
    TrackPass(std::string inputName, std::unique_ptr<AudioSource> audioSource,
              const std::vector<OutputPlan>& outputs, const ProcessOptions& processOptions,
              const std::vector<MediaWriter*>& media, double shareOfFile, Console& errors);

    /// Up to what can't be undone.
    void run();

    void commit();
    void report(FileReport& result) const;

    /// What the progress lacks to the track's share.
    [[nodiscard]] double missing() const { return share - advanced; }

private:
    [[nodiscard]] std::int64_t toSamples(double seconds) const;
    void skipToStart();
    void pass();
    std::int64_t readBlock(std::vector<float>& block);
    void warn();

    std::string name;
    std::unique_ptr<AudioSource> source;
    ProcessOptions options;
    Console& console;
    double share;
    double advanced = 0.0;
    double factor = 1.0;     // of --clip scale
    std::int64_t length = 0; // samples per channel, as the next two
    std::int64_t expected = unknownLength;
    std::int64_t wanted = std::numeric_limits<std::int64_t>::max();
    std::vector<std::unique_ptr<OutputChain>> chains;
};

} // namespace sorvane::tools
