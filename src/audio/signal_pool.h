#pragma once

#include "audio/signal.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

namespace sorvane {

/// Blocks that are used again, so that a steady stream allocates none. A signal is given when it
/// has been written, also while others still share its block; it is taken again once they have let
/// go of it. Keeps up to 64 blocks, the newest, of up to a megabyte each.
///
/// Threads: one at a time. Whoever shares a block on another thread must have told this one, by
/// whatever synchronises the two, that it has read it.
template <typename Signal>
class SignalPool {
public:
    SignalPool() { spares.reserve(capacity); }

    /// A signal of undefined contents whose block nobody shares.
    [[nodiscard]] Signal take(int channels, int length) {
        // The newest is the likeliest to be in the processor's cache still.
        const auto spare = std::find_if(spares.rbegin(), spares.rend(), [&](const Signal& signal) {
            return signal.channels == channels && signal.length == length && !signal.isShared();
        });
        if (spare == spares.rend())
            return Signal(channels, length);
        Signal signal = std::move(*spare);
        spares.erase(std::next(spare).base());
        return signal;
    }

    void give(Signal signal) {
        // A block that could not be had is no use to anyone.
        const bool isThere = signal.data && (signal.length < 1 || signal.row(0));
        if (!isThere || bytesOf(signal) > maxBytes)
            return;
        if (spares.size() == capacity)
            spares.erase(spares.begin());
        spares.push_back(std::move(signal));
    }

private:
    static std::int64_t bytesOf(const Signal& signal) {
        return std::int64_t{signal.data->stride} * signal.channels *
               static_cast<std::int64_t>(sizeof(*signal.row(0)));
    }

    static constexpr std::size_t capacity = 64;
    static constexpr std::int64_t maxBytes = 1 << 20;
    std::vector<Signal> spares; // oldest first
};

} // namespace sorvane
