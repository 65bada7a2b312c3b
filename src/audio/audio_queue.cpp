#include "audio/audio_queue.h"

#include "support/vector_rows.h"

namespace sorvane {

void AudioQueue::add(const Signal32& block) {
    if (!block.data || block.length == 0)
        return;
    if (numChannels == -1)
        numChannels = block.channels;
    if (block.channels != numChannels)
        clear();
    if (block.length < 1)
        return;
    blocks.push_back(block, maxSignalsInList);
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
    visit(count, [&](const Signal32& block, int start, int length, int position) {
        result.copyRange(position, block, start, start + length);
    });
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
}

Signal32 AudioQueue::pop(int count) {
    Signal32 result;
    if (numChannels > 0)
        result = Signal32(numChannels, count);
    pop(count, [&](const Signal32& block, int start, int length, int position) {
        result.copyRange(position, block, start, start + length);
    });
    return result;
}

void AudioQueue::readTimes(const float* window, Signal32& result, int offset, int count) const {
    if (numChannels < 1)
        return;
    visit(count, [&](const Signal32& block, int start, int length, int position) {
        for (int c = 0; c < result.channels; ++c) {
            float* row = result.channelData(c);
            requireMemory(row);
            row += offset + position;
            if (c >= block.channels) {
                zeroElements(row, length);
                continue;
            }
            requireMemory(block.row(c));
            check(ippsMul_32f(block.row(c) + start, window ? window + position : nullptr, row,
                              length));
        }
    });
}

void AudioQueue::consume(int count) {
    numPending -= count;
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
