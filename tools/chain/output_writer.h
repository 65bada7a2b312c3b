#pragma once

#include "chain/process_options.h"
#include "sound/audio_sink.h"
#include "sound/audio_source.h"
#include "sound/media_writer.h"

#include <memory>

namespace sorvane::tools {

/// The end of a chain.
struct Writer {
    std::unique_ptr<OutputSink> sink;
    int integerBits = 0; ///< of what it makes of the samples; 0 for floats
};

/// The rate of an output in hertz: what was asked for, or the input's, or where the format can't hold
/// that 48,000. Raises ProgramError with exitUsage when it can't be converted to.
int rateOfOutput(const OutputPlan& plan, const AudioSource& source, const ProcessOptions& options);

/// Opens what the options and the name of the output ask for; `length` is that of the input. With
/// `media` it is the next track of that file.
Writer openWriter(const OutputPlan& plan, const AudioSource& source, std::int64_t length,
                  int outputRate, const ProcessOptions& options, MediaWriter* media);

} // namespace sorvane::tools
