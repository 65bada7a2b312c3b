#include "blocks.h"

#include <algorithm>
#include <exception>

namespace sorvane::host {

Blocks::Blocks(EngineHandle& handle, int rampLength)
    : engine(handle),
      delay(measureLatency(handle.get(), static_cast<int>(handle.channels()))),
      dry(handle.channels(), static_cast<std::size_t>(delay.total() + largestPart)),
      ramp(rampLength),
      silenceLeft(delay.held),
      dropped(handle.channels() * largestPart) {
    dry.pushSilence(static_cast<std::size_t>(delay.total()));
}

void Blocks::process(const Input& input, const Output& output, int count, Blend target) {
    if (hasStarted)
        ramp.moveTo(target);
    else
        ramp.jumpTo(target);
    hasStarted = true;
    std::exception_ptr failure;
    for (int offset = 0; offset < count;) {
        const int part = std::min(count - offset, largestPart);
        const auto start = static_cast<std::size_t>(offset);
        dry.push(input, start, static_cast<std::size_t>(part));
        try {
            processPart(input, output, start, part);
        } catch (...) {
            failure = std::current_exception();
            silence(output, engine.channels(), start, part);
        }
        dry.mix(output, start, static_cast<std::size_t>(part), ramp);
        ramp.advance(part);
        offset += part;
    }
    if (failure)
        std::rethrow_exception(failure);
}

void Blocks::processPart(const Input& input, const Output& output, std::size_t offset, int count) {
    if (isBroken)
        restart();
    isBroken = true;
    exchange(input, output, offset, count);
    isBroken = false;
}

void Blocks::exchange(const Input& input, const Output& output, std::size_t offset, int count) {
    engine.push(input, offset, count);
    const auto silent = static_cast<int>(std::min<std::int64_t>(silenceLeft, count));
    silenceLeft -= silent;
    dropLateSamples();
    const auto begin = offset + static_cast<std::size_t>(silent);
    const int filled = silent + engine.pull(output, begin, count - silent);
    silence(output, engine.channels(), offset, silent);
    silence(output, engine.channels(), offset + static_cast<std::size_t>(filled), count - filled);
    late += count - filled;
}

/// Should the engine hold back more than was measured, the stream stays in step nevertheless.
void Blocks::dropLateSamples() {
    while (late > 0) {
        const int got = engine.pull({nullptr, dropped.data()}, 0,
                                    static_cast<int>(std::min<std::int64_t>(late, largestPart)));
        if (got == 0)
            return;
        late -= got;
    }
}

void Blocks::restart() {
    engine.reset();
    silenceLeft = delay.held;
    late = 0;
}

void Blocks::reset() {
    isBroken = true;
    restart();
    isBroken = hasStarted = false;
    ramp.jumpTo(ramp.at(0));
    dry.clear();
    dry.pushSilence(static_cast<std::size_t>(delay.total()));
}

} // namespace sorvane::host
