#pragma once

#include "audio/signal.h"

namespace sorvane {

/// A Hann window 0.5 - 0.5 cos(2 pi (n + 0.5) / length) in each of `channels` rows. The half-sample
/// offset makes it symmetric with no value of 0, and two of them half a length apart add up to 1.
Signal32 hann(int channels, int length);

/// The square root of that window.
Signal32 sqrtHann(int channels, int length);

} // namespace sorvane
