#pragma once

#include "sorvane_host.h"

namespace sorvane::host {

constexpr int longestLatency = SORVANE_HOST_LONGEST_LATENCY;

/// How a processor handle delays a stream, in samples at the host's rate.
struct Latency {
    int held;   ///< the most that it holds back: silence of this length fills the gap at the start
    int offset; ///< how far behind its place in the engine's stream a sample appears; 0 as a rule

    /// From a sample in to the same sample out.
    [[nodiscard]] int total() const { return held + offset; }
};

/// Measures a handle in its initial state: sends an impulse through it one sample at a time, the block
/// size for which most is held back, until the amount held has stopped growing; then resets it.
/// `held` is at least what the engine reports itself.
///
/// Raises a Failure of SORVANE_HOST_NO_OUTPUT when no output comes, less comes than goes in, or the
/// latency is above longestLatency, and whatever the engine raises.
Latency measureLatency(void* handle, int channels);

} // namespace sorvane::host
