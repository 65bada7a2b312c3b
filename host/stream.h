#pragma once

#include "blend_ramp.h"
#include "dry_line.h"
#include "engine_handle.h"

#include <cstdint>

namespace sorvane::host {

/// A processor as a stream: as much comes out as went in, aligned with it. See "Streams" in
/// sorvane_host.h.
///
/// Errors: a Failure, and what the engine raises. What had gone in and not come out becomes silence
/// then, and the next push begins a new stream of the engine.
class Stream {
public:
    /// `latency` is what the engine reports, `hop` that at the host's rate: much more than these no
    /// sound model holds back.
    Stream(EngineHandle& handle, int latency, int hop, int rampLength);

    void push(const Input& input, int count, Blend target);
    [[nodiscard]] int available() const;
    int pull(const Output& output, int capacity, Blend target);
    void finish();
    void reset();

private:
    void pushToEngine(const Input& input, int count);
    void loseWhatIsInside();
    [[nodiscard]] std::int64_t missing() const { return received - delivered; }

    EngineHandle& engine;
    DryLine dry;
    BlendRamp ramp;
    std::int64_t mostHeld;
    std::int64_t received = 0; // samples per channel, as all below
    std::int64_t delivered = 0;
    std::int64_t lost = 0; // of `received`: come out as silence
    std::int64_t held = 0; // in the engine, zeros at the end included
    bool isFinished = false;
    bool isBroken = false; // the engine has to be reset
};

} // namespace sorvane::host
