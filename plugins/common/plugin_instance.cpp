#include "common/plugin_instance.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <utility>

namespace sorvane::plugins {

namespace {

constexpr int largestBlock = 1024;
constexpr float neverApplied = std::numeric_limits<float>::quiet_NaN();

} // namespace

PluginInstance::PluginInstance(const PluginType& pluginType, const std::string& modelPath,
                               double sampleRate)
    : type(pluginType),
      rate(sampleRate),
      path(modelPath),
      voices(makeVoices(modelPath)),
      delay(voices.front().blocks.latency()),
      connected(type.ports.size(), nullptr),
      applied(type.ports.size(), neverApplied),
      inputs(static_cast<std::size_t>(type.channels), std::vector<float>(largestBlock)),
      outputRows(inputs.size()),
      unwanted(largestBlock) {
    for (const std::vector<float>& input : inputs)
        inputRows.push_back(input.data());
}

void PluginInstance::load(const std::string& modelPath) {
    std::string newPath = modelPath;
    voices = makeVoices(modelPath);
    delay = voices.front().blocks.latency();
    path = std::move(newPath);
    std::fill(applied.begin(), applied.end(), neverApplied);
}

std::vector<PluginInstance::Voice> PluginInstance::makeVoices(const std::string& modelPath) const {
    const host::Model model(modelPath);
    if (model.busNames().size() != type.busNames.size())
        throw std::runtime_error("the model has other busses than the plug-in");
    std::vector<Voice> made;
    for (std::size_t stem = 0; stem < (type.isStems ? type.busNames.size() : 1); ++stem) {
        made.push_back({host::Blocks(model, type.channels, rate)});
        if (type.isStems)
            made.back().blocks.isolateBus(static_cast<int>(stem));
    }
    return made;
}

void PluginInstance::connect(std::size_t port, void* memory) noexcept {
    if (port < connected.size())
        connected[port] = static_cast<float*>(memory);
}

void PluginInstance::activate() noexcept {
    for (Voice& voice : voices) {
        voice.hasFailed = false;
        if (sorvaneHostReset(voice.blocks.get()) != SORVANE_HOST_OK)
            fail(voice);
    }
}

float PluginInstance::valueOf(std::size_t port) const {
    const Port& description = type.ports[port];
    const float value = connected[port] ? *connected[port] : description.standard;
    return std::isnan(value) ? description.standard
                             : std::clamp(value, description.lowest, description.highest);
}

void PluginInstance::applyControls() {
    float amount = 1.0F;
    bool removed = false;
    bool enabled = true;
    for (std::size_t i = 0; i < type.ports.size(); ++i) {
        const Port& port = type.ports[i];
        if (!port.isControl())
            continue;
        const float value = valueOf(i);
        if (port.role == PortRole::amount)
            amount = value;
        else if (port.role == PortRole::removed)
            removed = value >= 0.5F;
        else if (port.role == PortRole::enabled)
            enabled = value >= 0.5F;
        else if (value != applied[i])
            applyParameter(port, value);
        applied[i] = value;
    }
    for (Voice& voice : voices) {
        const bool passes = voice.hasFailed || !enabled;
        voice.blocks.setAmount(passes ? 0.0F : amount);
        voice.blocks.setInverted(removed && !passes);
    }
}

void PluginInstance::applyParameter(const Port& port, float value) {
    for (Voice& voice : voices) {
        if (port.role == PortRole::remainderLevel)
            voice.blocks.setRemainder(value);
        else if (port.role == PortRole::gain)
            voice.blocks.setGain(port.bus, value);
        else
            voice.blocks.setSensitivity(port.bus, value);
    }
}

void PluginInstance::run(std::size_t count) noexcept {
    applyControls();
    for (std::size_t offset = 0; offset < count;) {
        const std::size_t block = std::min<std::size_t>(count - offset, largestBlock);
        runBlock(offset, static_cast<int>(block));
        offset += block;
    }
    // Latency is the last port.
    if (float* const latencyPort = connected.back())
        *latencyPort = static_cast<float>(latency());
}

void PluginInstance::runBlock(std::size_t offset, int count) {
    std::size_t port = 0;
    for (std::vector<float>& input : inputs) {
        if (const float* const source = connected[port++])
            std::copy_n(source + offset, count, input.begin());
        else
            std::fill_n(input.begin(), count, 0.0F);
    }
    for (Voice& voice : voices) {
        for (float*& row : outputRows) {
            float* const target = connected[port++];
            row = target ? target + offset : unwanted.data();
        }
        if (voice.blocks.tryProcess(inputRows.data(), outputRows.data(), count) != SORVANE_HOST_OK)
            fail(voice);
    }
}

void PluginInstance::fail(Voice& voice) {
    if (!failureReported)
        std::fprintf(stderr, "sorvane: %s: %s; the input passes unchanged\n", path.c_str(),
                     voice.blocks.error());
    failureReported = voice.hasFailed = true;
    voice.blocks.setAmount(0.0F);
    voice.blocks.setInverted(false);
}

} // namespace sorvane::plugins
