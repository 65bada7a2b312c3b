#include "audio/audio_queue.h"

#include "support/bounded_list.h"

namespace sorvane {

void AudioQueue::add(const Signal32& block) {
    if (block.isEmpty())
        return;
    if (numChannels == -1)
        numChannels = block.channels;
    if (block.channels != numChannels)
        clear();
    if (block.length < 1)
        return;
    appendBounded(blocks, block, maxSignalsInList);
    numPending += block.length;
}

void AudioQueue::clear() {
    blocks.clear();
    numPending = 0;
    readOffset = 0;
    numChannels = -1;
}

Signal32 AudioQueue::read(int count) const {
    if (numChannels < 1)
        return {};
    Signal32 result(numChannels, count);
    read(result, 0, count);
    return result;
}

void AudioQueue::discard(int count) {
    if (count >= numPending) {
        blocks.clear();
        numPending = 0;
        readOffset = 0;
        return;
    }
    consume(count);
    numPending -= count;
}

Signal32 AudioQueue::pop(int count) {
    if (numChannels < 1)
        return {};
    Signal32 result(numChannels, count);
    read(result, 0, count);
    consume(count);
    numPending -= count;
    return result;
}

void AudioQueue::read(Signal32& result, int offset, int count) const {
    const int end = offset + count;
    int start = readOffset;
    for (const Signal32& block : blocks) {
        if (block.length - start > end - offset) {
            result.copyRange(offset, block, start, start + (end - offset));
            return;
        }
        result.copyRange(offset, block, start, block.length);
        offset += block.length - start;
        if (offset == end)
            return;
        start = 0;
    }
}

void AudioQueue::consume(int count) {
    int remaining = count;
    while (remaining > 0 && !blocks.empty()) {
        const int held = blocks.front().length - readOffset;
        if (held > remaining) {
            readOffset += remaining;
            return;
        }
        remaining -= held;
        blocks.pop_front();
        readOffset = 0;
    }
}

} // namespace sorvane
