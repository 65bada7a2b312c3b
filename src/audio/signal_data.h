#pragma once

#include "support/vector/ipps.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace sorvane {

/// Bytes for `count` elements of `elementSize` bytes, or 0 where there are none or where no block
/// of the vector layer holds as many. `count` must not have overflowed.
inline int blockBytes(std::int64_t count, std::size_t elementSize) {
    const auto most = std::numeric_limits<int>::max() / static_cast<int>(elementSize);
    return count < 1 || count > most ? 0 : static_cast<int>(count) * static_cast<int>(elementSize);
}

/// A block of non-interleaved rows, one a channel; element i of channel c stands at
/// data[c * stride + i]. Rows start on 64-byte boundaries. Made once, then shared by reference
/// count through the value classes of signal.h. Fresh contents are undefined; `data` is null where
/// there is nothing to hold or memory ran out.
template <typename T>
struct SignalData {
    SignalData(int numChannels, int numSamples) : length(numSamples), channels(numChannels) {
        constexpr std::int64_t unit = 64 / sizeof(T);
        const std::int64_t rounded = (std::int64_t{length} + unit - 1) / unit * unit;
        // A stride that no int holds belongs to a block that can't be had anyway.
        if (length < 1 || rounded > std::numeric_limits<int>::max())
            return;
        stride = static_cast<int>(rounded);
        data = reinterpret_cast<T*>(ippsMalloc_8u(blockBytes(rounded * channels, sizeof(T))));
    }
    SignalData(const SignalData&) = delete;
    SignalData& operator=(const SignalData&) = delete;
    ~SignalData() { ippsFree(data); }

    int length;                      // samples per channel
    int channels;                    // rows
    int stride = 0;                  // elements from one row to the next
    int alignment = 64;              // bytes, of the block and of its rows
    T* data = nullptr;               // owned
    std::vector<T*> channelPointers; // row starts, empty until first asked for
};

} // namespace sorvane
