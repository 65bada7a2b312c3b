#pragma once

#include "audio/signal.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <new>
#include <vector>

namespace sorvane {

/// Blocks that are used again, so that a steady stream allocates none. Keeps the newest 1,024 blocks, up to 8 MB of them.
///
/// Threads: one at a time. Whoever shares a block on another thread may drop it there.
template <typename Signal>
class SignalPool {
public:
    /// A signal of undefined contents whose block nobody shares.
    [[nodiscard]] Signal take(int channels, int length) {
        const auto fits = [&](const Signal& signal) {
            return signal.channels == channels && signal.length == length && !signal.isShared();
        };
        // The newest is the likeliest to be in the processor's cache still. Of blocks that all wait
        // in a long queue the oldest are let go first.
        const std::ptrdiff_t tries = std::min(std::ssize(spares), maxTries);
        const auto newest = std::find_if(spares.rbegin(), spares.rbegin() + tries, fits);
        if (newest != spares.rbegin() + tries)
            return take(std::next(newest).base());
        const auto oldest = std::find_if(spares.begin(), spares.begin() + tries, fits);
        return oldest != spares.begin() + tries ? take(oldest) : Signal(channels, length);
    }

    /// Keeps a share of a signal that has been written and is still in use: its block is taken again
    /// once all others have let go of it.
    void giveWhenFree(const Signal& signal) { give(Signal(signal)); }

    /// Gives back a signal that was used, or drops it.
    void give(Signal&& signal) {
        // A block that could not be had is no use to anyone.
        const bool isThere = signal.data && (signal.length < 1 || signal.row(0));
        if (!isThere || bytesOf(signal) > maxBytes)
            return;
        try {
            spares.push_back(std::move(signal));
        } catch (const std::bad_alloc&) { // the next one is made anew
            return;
        }
        numBytes += bytesOf(spares.back());
        for (; spares.size() > capacity || numBytes > maxBytes; spares.erase(spares.begin()))
            numBytes -= bytesOf(spares.front());
    }

private:
    Signal take(typename std::vector<Signal>::iterator spare) {
        Signal signal = std::move(*spare);
        spares.erase(spare);
        numBytes -= bytesOf(signal);
        return signal;
    }

    static std::int64_t bytesOf(const Signal& signal) {
        return std::int64_t{signal.data->stride} * signal.channels *
               static_cast<std::int64_t>(sizeof(*signal.row(0)));
    }

    static constexpr std::size_t capacity = 1024;
    static constexpr std::ptrdiff_t maxTries = 64;
    static constexpr std::int64_t maxBytes = 8 << 20;
    std::vector<Signal> spares; // oldest first
    std::int64_t numBytes = 0;
};

} // namespace sorvane
