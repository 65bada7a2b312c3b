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
    enabled,        ///< a switch: the result, or else the input as late as that
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

    [[nodiscard]] bool isSwitch() const {
        return role == PortRole::removed || role == PortRole::enabled;
    }

    [[nodiscard]] bool isAudio() const {
        return role == PortRole::audioInput || role == PortRole::audioOutput;
    }
    [[nodiscard]] bool isControl() const { return !isAudio() && role != PortRole::latency; }
};

/// What every format's description of a plug-in is made from. The ports come in this order: audio in,
/// audio out (stem by stem), controls, latency.
struct PluginType {
    std::string label;
    std::string name;      ///< for people
    std::string modelPath; ///< empty for the speech model that suits the host's rate best
    int channels;
    bool isStems; ///< an output per bus instead of one mix
    std::vector<std::string> busNames;
    std::vector<Port> ports;
};

/// One output, mixed from all busses; its label ends in "_mono" or "_stereo".
PluginType mixPlugin(const CatalogueModel& model, int channels);

/// A stereo output for each bus; its label ends in "_stems".
PluginType stemsPlugin(const CatalogueModel& model);

/// A plug-in of this kind that isn't bound to a model, but takes the speech model for the host's rate.
/// Its label is "voice_cleaner_" and the kind.
PluginType voiceCleaner(int channels);

/// Whether any model is one that voiceCleaner() may take.
bool hasSpeechModel(const std::vector<CatalogueModel>& models);

/// The model that a plug-in runs at a rate. Raises std::runtime_error when there is none.
std::string modelPathFor(const PluginType& type, double sampleRate);

/// Busses past the sixteenth can't be silenced, so stems need a model with no more.
bool canGiveStems(const CatalogueModel& model);

} // namespace sorvane::plugins
