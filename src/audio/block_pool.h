#pragma once

#include "audio/signal.h"
#include "support/recycled_list.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace sorvane {

/// Blocks of audio on their way through a queue, used again in the order in which they were queued,
/// so that a steady stream of blocks of any sizes allocates none. A block serves all lengths up to
/// its own, a power of two, that are more than half of it. Keeps up to 8 MB. Threads: one at a time.
class BlockPool {
public:
    /// A signal of undefined contents whose block nobody shares, and may be longer than the signal.
    [[nodiscard]] Signal32 take(int channels, int length) {
        const int wanted = blockLength(channels, length);
        // Those that are free again stand in front.
        for (auto spare = spares.begin(); spare != spares.end() && !spare->isShared(); ++spare) {
            if (spare->channels != channels || spare->data->length != wanted)
                continue;
            numBytes -= bytesOf(*spare);
            Signal32 signal = spares.take(spare);
            signal.length = length;
            return signal;
        }
        Signal32 signal(channels, wanted);
        signal.length = length;
        return signal;
    }

    /// Gives back a signal that was taken, also while others still share its block.
    void give(const Signal32& signal) {
        const bool isThere = signal.data && (signal.length < 1 || signal.row(0));
        if (!isThere || numBytes + bytesOf(signal) > maxBytes)
            return;
        spares.push_back(signal, maxSignalsInList);
        numBytes += bytesOf(signal);
    }

private:
    static int blockLength(int channels, int length) {
        if (length < 1 || std::int64_t{length} * channels > maxBytes / 8)
            return length; // not worth keeping
        return static_cast<int>(std::bit_ceil(static_cast<unsigned>(std::max(length, 16))));
    }

    /// With some bytes for the record of a block.
    static std::int64_t bytesOf(const Signal32& signal) {
        return 256 + std::int64_t{4} * signal.data->stride * signal.channels;
    }

    static constexpr std::int64_t maxBytes = 8 << 20;
    RecycledList<Signal32> spares; // in the order given
    std::int64_t numBytes = 0;
};

} // namespace sorvane
