#include "common/plugin_instance.h"

#include "sorvane_engine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

namespace sorvane::plugins {

namespace {

constexpr float neverApplied = std::numeric_limits<float>::quiet_NaN();

} // namespace

PluginInstance::PluginInstance(const PluginType& pluginType, const std::string& modelPath,
                               double sampleRate)
    : type(pluginType),
      rate(sampleRate),
      path(modelPath),
      streams(makeStreams(modelPath)),
      connected(type.ports.size(), nullptr),
      applied(type.ports.size(), neverApplied),
      inputs(static_cast<std::size_t>(type.channels),
             std::vector<float>(StreamAdapter::largestBlock)),
      outputRows(inputs.size()),
      unwanted(StreamAdapter::largestBlock) {
    for (const std::vector<float>& input : inputs)
        inputRows.push_back(input.data());
}

void PluginInstance::load(const std::string& modelPath) {
    std::string newPath = modelPath;
    streams = makeStreams(modelPath);
    path = std::move(newPath);
    std::fill(applied.begin(), applied.end(), neverApplied);
}

std::vector<std::unique_ptr<StreamAdapter>>
PluginInstance::makeStreams(const std::string& modelPath) {
    const std::size_t numBusses = type.busNames.size();
    std::vector<std::unique_ptr<StreamAdapter>> made;
    for (std::size_t stem = 0; stem < (type.isStems ? numBusses : 1); ++stem) {
        made.push_back(
            std::make_unique<StreamAdapter>(modelPath, type.channels, rate, failureReported));
        if (made.back()->busNames().size() != numBusses)
            throw std::runtime_error("the model has other busses than the plug-in");
        for (std::size_t bus = 0; type.isStems && bus < numBusses; ++bus)
            made.back()->setParameter(SORVANE_BUS_GAIN + static_cast<int>(bus),
                                      bus == stem ? 1.0F : 0.0F);
    }
    return made;
}

void PluginInstance::connect(std::size_t port, void* memory) noexcept {
    if (port < connected.size())
        connected[port] = static_cast<float*>(memory);
}

void PluginInstance::activate() noexcept {
    for (const auto& stream : streams)
        stream->reset();
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
    for (std::size_t i = 0; i < type.ports.size(); ++i) {
        const Port& port = type.ports[i];
        if (!port.isControl())
            continue;
        const float value = valueOf(i);
        if (port.role == PortRole::amount)
            amount = value;
        else if (port.role == PortRole::removed)
            removed = value >= 0.5F;
        else if (value != applied[i])
            applyParameter(port, value);
        applied[i] = value;
    }
    for (const auto& stream : streams)
        stream->setBlend(blendOf(amount, removed));
}

void PluginInstance::applyParameter(const Port& port, float value) {
    const int id = port.role == PortRole::remainderLevel ? int{SORVANE_REMAINDER_LEVEL}
                   : port.role == PortRole::gain         ? SORVANE_BUS_GAIN + port.bus
                                                         : SORVANE_BUS_SENSITIVITY + port.bus;
    for (const auto& stream : streams)
        stream->setParameter(id, value);
}

void PluginInstance::run(std::size_t count) noexcept {
    applyControls();
    for (std::size_t offset = 0; offset < count;) {
        const std::size_t block =
            std::min<std::size_t>(count - offset, StreamAdapter::largestBlock);
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
    for (const auto& stream : streams) {
        for (float*& row : outputRows) {
            float* const target = connected[port++];
            row = target ? target + offset : unwanted.data();
        }
        stream->process(inputRows.data(), outputRows.data(), count);
    }
}

} // namespace sorvane::plugins
