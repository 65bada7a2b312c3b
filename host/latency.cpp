#include "latency.h"

#include "status.h"

#include "sorvane_engine.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace sorvane::host {

namespace {

/// A network with strides gives its frames in groups, and what it holds back goes up and down with
/// them. After so many groups without a new maximum there won't be one.
constexpr int groupsToWatch = 8;

/// In terms of the reported latency, which is two hops at least.
constexpr int longestWait = 32;

class ImpulseRun {
public:
    ImpulseRun(void* processor, int channelCount)
        : handle(processor), channels(static_cast<std::size_t>(channelCount)) {
        SorvaneModelInfo info{};
        ::sorvaneGetProcessorInfo(handle, &info);
        reported = std::max(info.lengthOrLatency, 0);
        requireUsable(reported <= longestLatency);
    }

    Latency run() {
        std::vector<float> sample(channels, 1.0F);
        int quietGroups = 0;
        while (quietGroups < groupsToWatch) {
            requireUsable(pushed <= longestWait * (reported + 1));
            sorvaneAddAudioInterleaved(handle, sample.data(), 1);
            ++pushed;
            std::fill(sample.begin(), sample.end(), 0.0F);
            if (held() > mostHeld) {
                mostHeld = held();
                quietGroups = 0;
            }
            if (sorvaneGetNumOfPendingSamples(handle) > 0) {
                pull();
                ++quietGroups;
            }
        }
        const std::int64_t most = std::max(mostHeld, reported);
        requireUsable(most + peakPosition <= longestLatency);
        return {static_cast<int>(most), static_cast<int>(peakPosition)};
    }

private:
    static void requireUsable(bool condition) {
        if (!condition)
            fail(SORVANE_HOST_NO_OUTPUT, "the model gives no output, too little, or too late");
    }

    [[nodiscard]] std::int64_t held() const {
        return pushed - pulled - sorvaneGetNumOfPendingSamples(handle);
    }

    void pull() {
        const int count = sorvaneGetNumOfPendingSamples(handle);
        block.resize(static_cast<std::size_t>(count) * channels);
        sorvaneGetAudioInterleaved(handle, block.data(), count);
        for (std::size_t i = 0; i < block.size(); ++i)
            if (std::fabs(block[i]) > peak) {
                peak = std::fabs(block[i]);
                peakPosition = pulled + static_cast<std::int64_t>(i / channels);
            }
        pulled += count;
    }

    void* handle;
    std::size_t channels;
    std::int64_t reported = 0; // samples per channel, as the next
    std::int64_t pushed = 0;
    std::int64_t pulled = 0;
    std::int64_t mostHeld = 0;
    std::int64_t peakPosition = 0; // the impulse went in at 0
    float peak = 0.0F;
    std::vector<float> block;
};

} // namespace

Latency measureLatency(void* handle, int channels) {
    const Latency latency = ImpulseRun(handle, channels).run();
    sorvaneResetProcessorState(handle);
    return latency;
}

} // namespace sorvane::host
