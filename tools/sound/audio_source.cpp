#include "sound/audio_source.h"

#include "console/interrupt.h"

#include <algorithm>

namespace sorvane::tools {

std::int64_t AudioSource::skip(std::int64_t count) {
    constexpr std::int64_t mostAtOnce = 4096;
    std::vector<float> scratch(static_cast<std::size_t>(mostAtOnce * channels()));
    std::int64_t done = 0;
    while (done < count) {
        throwIfInterrupted();
        const std::int64_t wanted = std::min(mostAtOnce, count - done);
        const std::int64_t got = read(scratch.data(), wanted);
        done += got;
        if (got < wanted)
            break;
    }
    return done;
}

} // namespace sorvane::tools
