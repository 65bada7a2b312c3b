#pragma once

#include "audio/signal.h"
#include "support/recycled_list.h"

#include <algorithm>
#include <cstdint>

namespace sorvane {

/// Elastic buffer between block sizes: a FIFO of shared blocks, from which any number of samples
/// can be read, skipped or taken across block borders. Adding costs a list node and copies no
/// sample. Threads: one at a time.
class AudioQueue {
public:
    /// Samples per channel that are queued and not consumed.
    [[nodiscard]] std::int64_t pending() const { return numPending; }

    /// Channel count of the stream, -1 while unknown.
    [[nodiscard]] int channels() const { return numChannels; }

    /// Appends a block; nothing for one without samples. One without channels has a length all the
    /// same, which is pending. A block of another channel count restarts the stream: it becomes the only content, and the count is learned from the block after it; until
    /// then read() and pop() give empty signals. std::length_error "list too long" when full.
    void add(const Signal32& block);

    /// Drops everything and forgets the channel count.
    void clear();

    /// Copies the oldest `count` samples. Where fewer are queued, the rest of the result is
    /// undefined.
    [[nodiscard]] Signal32 read(int count) const;

    /// Stores the oldest `count` samples times a window of as many values from `offset` on in
    /// `result`, silence in rows that a block lacks. Where fewer are queued, the rest stays; all of
    /// it while the stream has no channels or they aren't known.
    void readTimes(const float* window, Signal32& result, int offset, int count) const;

    /// Drops the oldest `count` samples, all if there are no more. Keeps the channel count.
    void discard(int count);

    /// Takes the oldest `count` samples, which must not be more than are pending. Takes nothing, and
    /// gives an empty signal, while the stream has no channels or they aren't known. Only tests call
    /// it: what leaves the engine goes to the host's buffers at once.
    [[nodiscard]] Signal32 pop(int count);

    /// The same without a signal: calls `use(block, start, length, position)` for each stretch of
    /// the samples, `length` of them in `block` from `start` on, `position` after the oldest. When
    /// it raises, the queue is unchanged.
    template <typename Use>
    void pop(int count, Use use) {
        if (numChannels < 1)
            return;
        visit(count, use);
        consume(count);
    }

private:
    template <typename Use>
    void visit(int count, Use use) const {
        int start = readOffset;
        int position = 0;
        for (const Signal32& block : blocks) {
            const int length = std::min(block.length - start, count - position);
            use(block, start, length, position);
            position += length;
            if (position == count)
                return;
            start = 0;
        }
    }

    /// Lets go of the oldest `count` samples, block by block; there must be as many.
    void consume(int count);

    std::int64_t numPending = 0;   // the lengths of all blocks less readOffset
    RecycledList<Signal32> blocks; // oldest first, each of one sample or more
    int readOffset = 0;            // samples of the oldest block that are consumed
    int numChannels = -1;
};

} // namespace sorvane
