#include "common/plugin_type.h"

#include "sorvane_host.hpp"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace sorvane::plugins {

namespace {

constexpr int mostBussesWithParameters = 16;
constexpr float highestGain = 10.0F; // +20 dB

const std::vector<std::pair<const char*, const char*>> sides = {{"left", "Left"},
                                                                {"right", "Right"}};

bool isSpeech(const std::string& label) {
    return label.starts_with("speech_") || label.starts_with("voice_cleaner_");
}

/// "speech_small_48k" becomes "Voice cleaner, small (48 kHz)".
std::string nameOf(const std::string& label, const std::string& kind) {
    constexpr std::string_view speech = "speech_";
    constexpr std::string_view small = "small_";
    if (!label.starts_with(speech) || !label.ends_with('k'))
        return "Sorvane " + label + " (" + kind + ")";
    std::string rate = label.substr(speech.size(), label.size() - speech.size() - 1);
    std::string name = "Voice cleaner";
    if (rate.starts_with(small)) {
        name += ", small";
        rate.erase(0, small.size());
    }
    return name + " (" + rate + " kHz, " + kind + ")";
}

int steeredBusses(const PluginType& type) {
    return std::min(static_cast<int>(type.busNames.size()), mostBussesWithParameters);
}

void addAudioPorts(PluginType& type, PortRole role, int bus, const std::string& symbol,
                   const std::string& name) {
    if (type.channels == 1) {
        type.ports.push_back({role, bus, symbol, name});
        return;
    }
    for (const auto& [side, title] : sides)
        type.ports.push_back({role, bus, symbol + "_" + side, name + " " + title});
}

void addMixControls(PluginType& type) {
    type.ports.push_back({PortRole::amount, 0, "amount", "Amount", "", 0.0F, 1.0F, 1.0F});
    if (type.busNames.size() == 2) {
        type.ports.push_back({PortRole::remainderLevel, 1, "remainder_level", "Remainder level",
                              "dB", -96.0F, 0.0F, isSpeech(type.label) ? -96.0F : 0.0F});
        return;
    }
    for (int bus = 0; bus < steeredBusses(type); ++bus)
        type.ports.push_back({PortRole::gain, bus, "gain_" + std::to_string(bus),
                              "Gain " + type.busNames[static_cast<std::size_t>(bus)], "", 0.0F,
                              highestGain, 1.0F});
}

void addSensitivities(PluginType& type) {
    for (int bus = 0; bus < steeredBusses(type); ++bus)
        type.ports.push_back({PortRole::sensitivity, bus, "sensitivity_" + std::to_string(bus),
                              "Sensitivity " + type.busNames[static_cast<std::size_t>(bus)], "%",
                              -100.0F, 100.0F, 0.0F});
}

void addLatency(PluginType& type) {
    // Hosts know the port by this name.
    type.ports.push_back({PortRole::latency, 0, "latency", "latency", "", 0.0F,
                          static_cast<float>(SORVANE_HOST_LONGEST_LATENCY), 0.0F});
}

PluginType startOf(const CatalogueModel& model, const std::string& kind, int channels) {
    return {model.label + "_" + kind,
            nameOf(model.label, kind),
            model.path,
            channels,
            kind == "stems",
            model.busNames,
            {}};
}

} // namespace

PluginType mixPlugin(const CatalogueModel& model, int channels) {
    PluginType type = startOf(model, channels == 1 ? "mono" : "stereo", channels);
    addAudioPorts(type, PortRole::audioInput, 0, "in", "Input");
    addAudioPorts(type, PortRole::audioOutput, 0, "out", "Output");
    addMixControls(type);
    addSensitivities(type);
    type.ports.push_back(
        {PortRole::removed, 0, "removed", "Hear what is removed", "", 0.0F, 1.0F, 0.0F});
    type.ports.push_back({PortRole::enabled, 0, "enabled", "Enabled", "", 0.0F, 1.0F, 1.0F});
    addLatency(type);
    return type;
}

PluginType voiceCleaner(int channels) {
    PluginType type = mixPlugin({"", "voice_cleaner", {"Speech", "Noise"}}, channels);
    type.name = channels == 1 ? "Voice cleaner (mono)" : "Voice cleaner (stereo)";
    return type;
}

bool hasSpeechModel(const std::vector<CatalogueModel>& models) {
    return std::any_of(models.begin(), models.end(), [](const CatalogueModel& model) {
        return isSpeech(model.label) && model.busNames.size() == 2;
    });
}

std::string modelPathFor(const PluginType& type, double sampleRate) {
    if (!type.modelPath.empty())
        return type.modelPath;
    std::string best;
    double least = 0.0;
    for (const CatalogueModel& model : listModels()) {
        if (!hasSpeechModel({model}) || model.label.find("small") != std::string::npos)
            continue;
        const double badness = host::Model(model.path).rateFit(sampleRate).badness;
        if (best.empty() || badness < least) {
            best = model.path;
            least = badness;
        }
    }
    if (best.empty())
        throw std::runtime_error("no speech model is found");
    return best;
}

PluginType stemsPlugin(const CatalogueModel& model) {
    PluginType type = startOf(model, "stems", 2);
    addAudioPorts(type, PortRole::audioInput, 0, "in", "Input");
    for (std::size_t bus = 0; bus < model.busNames.size(); ++bus)
        addAudioPorts(type, PortRole::audioOutput, static_cast<int>(bus),
                      "stem_" + std::to_string(bus), model.busNames[bus]);
    addSensitivities(type);
    addLatency(type);
    return type;
}

bool canGiveStems(const CatalogueModel& model) {
    return model.busNames.size() <= mostBussesWithParameters;
}

} // namespace sorvane::plugins
