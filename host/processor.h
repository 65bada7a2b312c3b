#pragma once

#include "blocks.h"
#include "engine_handle.h"
#include "model.h"
#include "sorvane_host.h"
#include "stream.h"

#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

/// The record behind a processor handle: an engine, its controls, and one of the two ways to run it.
struct SorvaneHostProcessor {
    enum class Mode { stream, blocks };

    SorvaneHostProcessor(const SorvaneHostModel& model, int numChannels, double sampleRate,
                         Mode mode);

    static constexpr int mostSteeredBusses = 16;

    /// Raises a Failure of SORVANE_HOST_NO_BUS unless the bus has a gain and a sensitivity.
    void requireSteered(int bus) const;

    /// As sorvaneHostFindBus().
    [[nodiscard]] int findBus(const std::string& nameOrNumber) const;

    [[nodiscard]] sorvane::host::Blend blend() const {
        return sorvane::host::blendOf(amount, isInverted);
    }

    /// Counts and keeps the failure that the thread recorded last.
    void countFailure() noexcept;

    sorvane::host::EngineHandle engine;
    SorvaneHostProcessorInfo info{};
    std::vector<std::string> busNames;
    std::atomic<float> amount{1.0F};
    std::atomic<bool> isInverted{false};
    std::optional<sorvane::host::Stream> stream;
    std::optional<sorvane::host::Blocks> blocks;
    std::atomic<int> numFailures{0};
    std::array<char, 1024> error{};
};
