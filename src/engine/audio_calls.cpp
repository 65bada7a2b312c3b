#include "engine/processor_state.h"

#include "support/vector/spectral.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

using sorvane::ProcessorState;
using sorvane::Signal32;
using sorvane::stateOf;

namespace {

/// A block of the host's channels for `numSamples` samples, empty for a count below 1.
Signal32 makeBlock(ProcessorState& state, int numSamples) {
    return state.blocks.take(state.numInputChannels, std::max(numSamples, 0));
}

/// Pops `numSamples` samples and calls `deliver(rows, count, position)` for each stretch of them:
/// `count` samples, at least one, of each of the host's channels, `position` after the oldest.
template <typename Deliver>
bool getBlock(ProcessorState& state, int numSamples, Deliver deliver) {
    if (numSamples < 0 || numSamples > state.outputQueue.pending())
        return false;
    std::vector<const float*>& rows = state.outputRows;
    state.outputQueue.pop(numSamples,
                          [&](const Signal32& block, int start, int count, int position) {
                              for (std::size_t c = 0; c < rows.size(); ++c) {
                                  sorvane::requireMemory(block.row(static_cast<int>(c)));
                                  rows[c] = block.row(static_cast<int>(c)) + start;
                              }
                              if (count > 0)
                                  deliver(rows, count, position);
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
    if (!block.isEmpty())
        sorvane::check(vlDeinterleave_32f(samples, block.channels, block.channelPointers().data(),
                                          numSamples));
    state.addBlock(block);
}

bool sorvaneGetAudio(void* handle, float* const* channels, int numSamples) {
    return getBlock(stateOf(handle), numSamples,
                    [&](const std::vector<const float*>& rows, int count, int position) {
                        for (std::size_t c = 0; c < rows.size(); ++c)
                            sorvane::copyElements(rows[c], channels[c] + position, count);
                    });
}

bool sorvaneGetAudioInterleaved(void* handle, float* samples, int numSamples) {
    return getBlock(stateOf(handle), numSamples,
                    [&](const std::vector<const float*>& rows, int count, int position) {
                        const auto step = static_cast<int>(rows.size());
                        sorvane::check(vlInterleave_32f(
                            rows.data(), step, samples + std::ptrdiff_t{step} * position, count));
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
