#pragma once

#include "audio_view.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace sorvane::host {

/// A processor handle of the engine for one model. Raises what the engine raises. Threads and real
/// time: as the engine's calls.
class EngineHandle {
public:
    /// Beyond any audio rate, sizes and counts wouldn't fit their types.
    static constexpr double highestRate = 1e7;

    /// Raises a Failure: of SORVANE_HOST_BAD_ARGUMENT, or SORVANE_HOST_BAD_RATE when the engine
    /// gives no handle.
    EngineHandle(const std::string& modelPath, int channels, double rate);

    void* get() const { return handle.get(); }
    [[nodiscard]] std::size_t channels() const { return numChannels; }

    /// `count` samples from `offset` on.
    void push(const Input& input, std::size_t offset, int count);

    /// Up to `count` samples, to `offset` on; returns how many there were.
    int pull(const Output& output, std::size_t offset, int count);

    [[nodiscard]] int pending() const;
    void reset();

private:
    struct Deleter {
        void operator()(void* processor) const;
    };

    std::unique_ptr<void, Deleter> handle;
    std::size_t numChannels;
    std::vector<const float*> inputRows;
    std::vector<float*> outputRows;
};

/// Zeros for `count` samples from `offset` on.
void silence(const Output& output, std::size_t channels, std::size_t offset, int count);

} // namespace sorvane::host
