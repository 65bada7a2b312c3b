#pragma once

#include "audio_view.h"
#include "blend_ramp.h"

#include <cstddef>
#include <vector>

namespace sorvane::host {

/// The input of a processor on its way round the engine: a queue that mixes what it gives with the
/// engine's result. Takes memory only where it grows beyond `capacity` samples per channel.
class DryLine {
public:
    DryLine(std::size_t channels, std::size_t capacity);

    void push(const Input& input, std::size_t offset, std::size_t count);
    void pushSilence(std::size_t count);

    /// Takes `count` samples out, and mixes them into those of `output` from `offset` on.
    void mix(const Output& output, std::size_t offset, std::size_t count, const BlendRamp& ramp);

    void clear() { head = size = 0; }

private:
    /// Calls work(position in the ring, samples done before, samples) for stretches that don't wrap.
    template <typename Work>
    void forStretches(std::size_t start, std::size_t count, Work work) const;
    void makeRoom(std::size_t count);

    std::size_t numChannels;
    std::vector<float> ring; // interleaved
    std::size_t head = 0;    // samples per channel, as the next
    std::size_t size = 0;
};

} // namespace sorvane::host
