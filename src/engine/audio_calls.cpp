#include "engine/processor_state.h"

#include "support/vector/spectral.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

using sorvane::ProcessorState;
using sorvane::Signal32;
using sorvane::stateOf;

namespace {

/// A block of the host's channels for `numSamples` samples, empty for a count below 1.
Signal32 makeBlock(ProcessorState& state, int numSamples) {
    return state.blocks.take(state.numInputChannels, std::max(numSamples, 0));
}

/// Pops `numSamples` samples and calls `deliver(row, channel, count, position)` for each stretch of
/// each of the host's channels: `count` samples, `position` after the oldest.
template <typename Deliver>
bool getBlock(ProcessorState& state, int numSamples, Deliver deliver) {
    if (numSamples < 0 || numSamples > state.outputQueue.pending())
        return false;
    if (numSamples == 0 || state.outputQueue.channels() < 1)
        return true;
    state.outputQueue.pop(numSamples,
                          [&](const Signal32& block, int start, int count, int position) {
                              for (int c = 0; c < state.numOutputChannels; ++c) {
                                  sorvane::requireMemory(block.row(c));
                                  deliver(block.row(c) + start, c, count, position);
                              }
                          });
    return true;
}

} // namespace

void sorvaneAddAudio(void* handle, const float* const* channels, int numSamples) {
    ProcessorState& state = stateOf(handle);
    Signal32 block = makeBlock(state, numSamples);
    for (int c = 0; numSamples > 0 && c < block.channels; ++c)
        sorvane::copyElements(channels[c], block.channelData(c), numSamples);
    state.addBlock(block);
}

void sorvaneAddAudioInterleaved(void* handle, const float* samples, int numSamples) {
    ProcessorState& state = stateOf(handle);
    Signal32 block = makeBlock(state, numSamples);
    if (block.length > 0 && block.channels > 0) {
        sorvane::requireMemory(block.row(0));
        sorvane::check(vlDeinterleave_32f(samples, block.channels, block.channelPointers().data(),
                                          numSamples));
    }
    state.addBlock(block);
}

bool sorvaneGetAudio(void* handle, float* const* channels, int numSamples) {
    ProcessorState& state = stateOf(handle);
    return getBlock(state, numSamples, [&](const float* row, int c, int count, int position) {
        sorvane::copyElements(row, channels[c] + position, count);
    });
}

bool sorvaneGetAudioInterleaved(void* handle, float* samples, int numSamples) {
    ProcessorState& state = stateOf(handle);
    const std::ptrdiff_t step = state.numOutputChannels;
    return getBlock(state, numSamples, [&](const float* row, int c, int count, int position) {
        if (step == 1) {
            sorvane::copyElements(row, samples + position, count);
            return;
        }
        for (int i = 0; i < count; ++i)
            samples[(position + i) * step + c] = row[i];
    });
}

int sorvaneGetNumOfPendingSamples(void* handle) {
    return static_cast<int>(static_cast<std::uint32_t>(stateOf(handle).outputQueue.pending()));
}

void sorvaneResetProcessorState(void* handle) {
    ProcessorState& state = stateOf(handle);
    state.outputQueue.clear();
    state.processor.reset();
}
