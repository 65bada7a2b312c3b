#include "dry_line.h"

#include <algorithm>

namespace sorvane::host {

DryLine::DryLine(std::size_t channels, std::size_t capacity)
    : numChannels(channels), ring(channels * capacity) {}

template <typename Work>
void DryLine::forStretches(std::size_t start, std::size_t count, Work work) const {
    const std::size_t capacity = ring.size() / numChannels;
    for (std::size_t done = 0; done < count;) {
        const std::size_t position = (start + done) % capacity;
        const std::size_t stretch = std::min(count - done, capacity - position);
        work(position, done, stretch);
        done += stretch;
    }
}

void DryLine::makeRoom(std::size_t count) {
    const std::size_t capacity = ring.size() / numChannels;
    if (size + count <= capacity)
        return;
    std::vector<float> larger(std::max(size + count, 2 * capacity) * numChannels);
    forStretches(head, size, [&](std::size_t position, std::size_t done, std::size_t stretch) {
        std::copy_n(ring.data() + position * numChannels, stretch * numChannels,
                    larger.data() + done * numChannels);
    });
    ring = std::move(larger);
    head = 0;
}

void DryLine::push(const Input& input, std::size_t offset, std::size_t count) {
    makeRoom(count);
    const auto take = [&](std::size_t position, std::size_t done, std::size_t stretch) {
        for (std::size_t c = 0; c < numChannels; ++c) {
            const Input::Row row = input.row(c, numChannels, offset + done);
            for (std::size_t i = 0; i < stretch; ++i)
                ring[(position + i) * numChannels + c] = row[i];
        }
    };
    forStretches(head + size, count, take);
    size += count;
}

void DryLine::pushSilence(std::size_t count) {
    makeRoom(count);
    forStretches(head + size, count, [&](std::size_t position, std::size_t, std::size_t stretch) {
        std::fill_n(ring.data() + position * numChannels, stretch * numChannels, 0.0F);
    });
    size += count;
}

void DryLine::mix(const Output& output, std::size_t offset, std::size_t count,
                  const BlendRamp& ramp) {
    const auto give = [&](std::size_t position, std::size_t done, std::size_t stretch) {
        for (std::size_t c = 0; c < numChannels; ++c) {
            const Output::Row row = output.row(c, numChannels, offset + done);
            for (std::size_t i = 0; i < stretch; ++i) {
                const Blend blend = ramp.at(static_cast<int>(done + i));
                // What isn't wanted may be infinite.
                const float dry =
                    blend.dry == 0.0F ? 0.0F : blend.dry * ring[(position + i) * numChannels + c];
                row[i] = blend.wet == 0.0F ? dry : blend.wet * row[i] + dry;
            }
        }
    };
    if (ramp.isMoving() || ramp.at(0) != Blend{0.0F, 1.0F})
        forStretches(head, count, give);
    head = (head + count) % std::max<std::size_t>(ring.size() / numChannels, 1);
    size -= count;
}

} // namespace sorvane::host
