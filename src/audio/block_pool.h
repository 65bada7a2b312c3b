#pragma once

#include "audio/signal.h"
#include "support/recycled_list.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>

namespace sorvane {

/// Blocks of audio on their way through a queue, used again in the order in which they were queued,
/// so that a steady stream of blocks of any sizes allocates none. A block serves all lengths up to
/// its own, a power of two, that are more than half of it. Keeps up to 8 MB, of blocks of up to
/// 2 MB, and drops those that are free for others. Threads: one at a time.
class BlockPool {
public:
    /// A signal of undefined contents whose block nobody shares, and may be longer than the signal.
    /// Has no block where it has no samples.
    [[nodiscard]] Signal32 take(int channels, int length) {
        Signal32 signal;
        if (channels > 0 && length > 0)
            signal = takeBlock(channels, length);
        signal.channels = channels;
        signal.length = length;
        return signal;
    }

    /// Keeps a share of a signal that was taken and may still be in use: its block is taken again
    /// once all others have let go of it.
    void giveWhenFree(const Signal32& signal) {
        if (!signal.row(0) ||
            keptLength(signal.channels, signal.data->length) != signal.data->length)
            return;
        makeRoom(bytesOf(signal));
        if (numBytes + bytesOf(signal) > maxBytes)
            return;
        try {
            sparesOf(signal.data->length).push_back(signal, maxSignalsInList);
            numBytes += bytesOf(signal);
        } catch (const std::bad_alloc&) { // the next one is made anew
        }
    }

private:
    /// The length of the blocks that serve `length`, 0 where none is worth keeping.
    static int keptLength(int channels, int length) {
        constexpr std::int64_t most = maxBytes / 16;
        if (length > most)
            return 0;
        const auto kept =
            static_cast<int>(std::bit_ceil(static_cast<unsigned>(std::max(length, 16))));
        return std::int64_t{kept} * channels > most ? 0 : kept;
    }

    RecycledList<Signal32>& sparesOf(int blockLength) {
        return spares[static_cast<std::size_t>(std::bit_width(static_cast<unsigned>(blockLength)))];
    }

    Signal32 takeBlock(int channels, int length) {
        const int kept = keptLength(channels, length);
        if (kept == 0)
            return Signal32(channels, length);
        RecycledList<Signal32>& list = sparesOf(kept);
        while (isFree(list)) {
            Signal32 oldest = drop(list);
            if (oldest.channels == channels)
                return oldest;
        }
        return Signal32(channels, kept);
    }

    /// Whether the oldest of a list, the first to become free, can be used again.
    static bool isFree(const RecycledList<Signal32>& list) {
        return !list.empty() && !list.front().isShared();
    }

    Signal32 drop(RecycledList<Signal32>& list) {
        numBytes -= bytesOf(list.front());
        return list.take_front();
    }

    void makeRoom(std::int64_t bytes) {
        for (RecycledList<Signal32>& list : spares)
            while (numBytes + bytes > maxBytes && isFree(list))
                drop(list);
    }

    /// With some bytes for the record of a block.
    static std::int64_t bytesOf(const Signal32& signal) {
        return 256 + std::int64_t{4} * signal.data->stride * signal.channels;
    }

    static constexpr std::int64_t maxBytes = 8 << 20;
    std::array<RecycledList<Signal32>, 24> spares; // by the bits of their length, oldest first
    std::int64_t numBytes = 0;
};

} // namespace sorvane
