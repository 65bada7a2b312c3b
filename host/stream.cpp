#include "stream.h"

#include "status.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace sorvane::host {

namespace {

/// The latency is the most that a sound network holds back. The margin is for one whose strides make
/// it give its frames in groups.
constexpr std::int64_t marginInHops = 256;

constexpr int zerosAtOnce = 1024;

} // namespace

Stream::Stream(EngineHandle& handle, int latency, int hop, int rampLength)
    : engine(handle),
      dry(handle.channels(), 0),
      ramp(rampLength),
      mostHeld(2 * std::int64_t{latency} + marginInHops * hop) {}

void Stream::push(const Input& input, int count, Blend target) {
    if (isFinished)
        reset();
    if (received == 0)
        ramp.jumpTo(target);
    if (count == 0)
        return;
    dry.push(input, 0, static_cast<std::size_t>(count));
    received += count;
    pushToEngine(input, count);
}

void Stream::pushToEngine(const Input& input, int count) {
    try {
        if (isBroken)
            engine.reset();
        isBroken = false;
        const int pendingBefore = engine.pending();
        engine.push(input, 0, count);
        held += count - (std::int64_t{engine.pending()} - pendingBefore);
        if (held > mostHeld + count)
            fail(SORVANE_HOST_NO_OUTPUT, "the model gives no output or too little: it holds back " +
                                             std::to_string(held) + " samples");
    } catch (...) {
        loseWhatIsInside();
        throw;
    }
}

void Stream::loseWhatIsInside() {
    lost = missing();
    held = 0;
    isBroken = true;
    try {
        engine.reset();
        isBroken = false;
    } catch (...) {
        // The next push tries again.
    }
}

int Stream::available() const {
    const std::int64_t ready = lost + (isBroken ? 0 : engine.pending());
    return static_cast<int>(
        std::min<std::int64_t>(std::min(ready, missing()), std::numeric_limits<int>::max()));
}

int Stream::pull(const Output& output, int capacity, Blend target) {
    const int count = std::min(capacity, available());
    const auto silent = static_cast<int>(std::min<std::int64_t>(lost, count));
    silence(output, engine.channels(), 0, silent);
    try {
        engine.pull(output, static_cast<std::size_t>(silent), count - silent);
    } catch (...) {
        loseWhatIsInside();
        throw;
    }
    lost -= silent;
    delivered += count;
    ramp.moveTo(target);
    dry.mix(output, 0, static_cast<std::size_t>(count), ramp);
    ramp.advance(count);
    return count;
}

void Stream::finish() {
    isFinished = true;
    const std::vector<float> zeros(engine.channels() * zerosAtOnce);
    while (lost + engine.pending() < missing())
        pushToEngine({nullptr, zeros.data()}, zerosAtOnce);
}

void Stream::reset() {
    isBroken = true;
    engine.reset();
    isBroken = isFinished = false;
    received = delivered = lost = held = 0;
    dry.clear();
}

} // namespace sorvane::host
