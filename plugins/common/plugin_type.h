#pragma once

#include "common/model_catalogue.h"

#include <string>
#include <vector>

namespace sorvane::plugins {

enum class PortRole {
    audioInput,
    audioOutput,
    amount,         ///< from the input to the result
    remainderLevel, ///< of the last bus, in dB
    gain,           ///< of a bus, linear
    sensitivity,    ///< of a bus, in per cent
    removed,        ///< a switch: what is removed instead of what is left
    latency,        ///< an output, in samples
};

struct Port {
    PortRole role;
    int bus; ///< of a gain, a sensitivity, or the output of a stem; otherwise 0
    std::string symbol;
    std::string name;
    std::string unit{}; ///< "dB", "%" or nothing
    float lowest = 0.0F;
    float highest = 0.0F;
    float standard = 0.0F; ///< 0, 1, or one of the bounds

    [[nodiscard]] bool isAudio() const {
        return role == PortRole::audioInput || role == PortRole::audioOutput;
    }
    [[nodiscard]] bool isControl() const { return !isAudio() && role != PortRole::latency; }
};

/// What every format's description of a plug-in is made from. The ports come in this order: audio in,
/// audio out (stem by stem), controls, latency.
struct PluginType {
    std::string label;
    std::string name;
    std::string modelPath;
    int channels;
    bool isStems; ///< an output per bus instead of one mix
    std::vector<std::string> busNames;
    std::vector<Port> ports;
};

/// One output, mixed from all busses; its label ends in "_mono" or "_stereo".
PluginType mixPlugin(const CatalogueModel& model, int channels);

/// A stereo output for each bus; its label ends in "_stems".
PluginType stemsPlugin(const CatalogueModel& model);

/// Busses past the sixteenth can't be silenced, so stems need a model with no more.
bool canGiveStems(const CatalogueModel& model);

} // namespace sorvane::plugins
