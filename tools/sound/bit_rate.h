#pragma once

#include "sound/audio_writer.h"

#include <sndfile.h>

namespace sorvane::tools {

/// Tells the library's encoder to use at least the bit rate of `description`. Does nothing for 0,
/// and for formats that aren't lossy.
void setBitRate(SNDFILE& file, int format, const AudioDescription& description);

/// The bits a second that an output of this format needs to be as good as its input; 0 for formats
/// that aren't lossy.
std::int64_t neededBitRate(int outputFormat, int inputFormat, std::int64_t inputBitRate,
                           int channels);

} // namespace sorvane::tools
