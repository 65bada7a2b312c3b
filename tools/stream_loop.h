#pragma once

#include "audio_reader.h"
#include "audio_writer.h"
#include "processor.h"

#include <cstdint>

namespace sorvane::tools {

/// Reads `input` to its end in blocks of `blockSize` samples, sends it through the processor, and
/// writes a stream of the same length that is aligned with the input. Zeros push out what the
/// processor holds back at the end. Memory is that of a few blocks whatever the length.
/// Returns the length in samples per channel.
///
/// Raises ProgramError with exitFailure when the processor holds back much more than its latency,
/// as with a network that gives fewer frames than it takes.
std::int64_t streamThrough(AudioReader& input, Processor& processor, AudioWriter& output,
                           int blockSize);

} // namespace sorvane::tools
