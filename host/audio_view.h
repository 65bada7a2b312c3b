#pragma once

#include <cstddef>

namespace sorvane::host {

/// A host's samples, planar or interleaved. `Sample` is float or const float.
template <typename Sample>
struct AudioView {
    Sample* const* rows = nullptr; ///< null for interleaved samples
    Sample* interleaved = nullptr;

    /// Where the samples of a channel begin, and how far apart they are.
    struct Row {
        Sample* first;
        std::size_t step;
        Sample& operator[](std::size_t i) const { return first[i * step]; }
    };
    [[nodiscard]] Row row(std::size_t channel, std::size_t numChannels, std::size_t offset) const {
        return rows != nullptr ? Row{rows[channel] + offset, 1}
                               : Row{interleaved + offset * numChannels + channel, numChannels};
    }
};

using Input = AudioView<const float>;
using Output = AudioView<float>;

} // namespace sorvane::host
