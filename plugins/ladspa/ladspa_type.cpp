#include "ladspa/ladspa_type.h"

#include "common/plugin_instance.h"

#include <cstdio>
#include <exception>
#include <utility>

namespace sorvane::plugins {

namespace {

PluginInstance& instanceOf(LADSPA_Handle handle) {
    return *static_cast<PluginInstance*>(handle);
}

LADSPA_Handle instantiate(const LADSPA_Descriptor* descriptor, unsigned long sampleRate) {
    const auto& type = *static_cast<const PluginType*>(descriptor->ImplementationData);
    try {
        const auto rate = static_cast<double>(sampleRate);
        return new PluginInstance(type, modelPathFor(type, rate), rate);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane: %s: %s\n", type.label.c_str(), error.what());
    } catch (...) {
        std::fprintf(stderr, "sorvane: %s: unknown failure\n", type.label.c_str());
    }
    return nullptr;
}

void connectPort(LADSPA_Handle handle, unsigned long port, LADSPA_Data* data) {
    instanceOf(handle).connect(port, data);
}

void activate(LADSPA_Handle handle) {
    instanceOf(handle).activate();
}

void run(LADSPA_Handle handle, unsigned long count) {
    instanceOf(handle).run(count);
}

void cleanup(LADSPA_Handle handle) {
    delete static_cast<PluginInstance*>(handle);
}

LADSPA_PortDescriptor kindOf(const Port& port) {
    switch (port.role) {
    case PortRole::audioInput:
        return LADSPA_PORT_AUDIO | LADSPA_PORT_INPUT;
    case PortRole::audioOutput:
        return LADSPA_PORT_AUDIO | LADSPA_PORT_OUTPUT;
    case PortRole::latency:
        return LADSPA_PORT_CONTROL | LADSPA_PORT_OUTPUT;
    default:
        return LADSPA_PORT_CONTROL | LADSPA_PORT_INPUT;
    }
}

LADSPA_PortRangeHintDescriptor defaultHintOf(const Port& port) {
    if (port.standard == 0.0F)
        return LADSPA_HINT_DEFAULT_0;
    if (port.standard == 1.0F)
        return LADSPA_HINT_DEFAULT_1;
    return port.standard == port.lowest ? LADSPA_HINT_DEFAULT_MINIMUM : LADSPA_HINT_DEFAULT_MAXIMUM;
}

LADSPA_PortRangeHint rangeOf(const Port& port) {
    if (port.isAudio())
        return {0, 0.0F, 0.0F};
    LADSPA_PortRangeHintDescriptor hints =
        LADSPA_HINT_BOUNDED_BELOW | LADSPA_HINT_BOUNDED_ABOVE | defaultHintOf(port);
    // A switch is an integer from 0 to 1 here: one that is marked as a switch may have no bounds.
    if (port.isSwitch() || port.role == PortRole::latency)
        hints |= LADSPA_HINT_INTEGER;
    return {hints, port.lowest, port.highest};
}

} // namespace

LadspaType::LadspaType(PluginType pluginType, unsigned long uniqueId)
    : type(std::move(pluginType)), record{} {
    for (const Port& port : type.ports) {
        portNames.push_back(port.unit.empty() ? port.name : port.name + " (" + port.unit + ")");
        portKinds.push_back(kindOf(port));
        portRanges.push_back(rangeOf(port));
    }
    for (const std::string& name : portNames)
        portNamePointers.push_back(name.c_str());

    record.UniqueID = uniqueId;
    record.Label = type.label.c_str();
    record.Name = type.name.c_str();
    record.Maker = "The SorvaneEngine developers";
    record.Copyright = "MIT";
    record.PortCount = static_cast<unsigned long>(type.ports.size());
    record.PortDescriptors = portKinds.data();
    record.PortNames = portNamePointers.data();
    record.PortRangeHints = portRanges.data();
    record.ImplementationData = &type;
    record.instantiate = instantiate;
    record.connect_port = connectPort;
    record.activate = activate;
    record.run = run;
    record.cleanup = cleanup;
}

std::uint32_t uniqueIdOf(std::string_view label) {
    std::uint32_t hash = 2166136261U;
    for (const char c : label)
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    return 0x800000U | (hash & 0x7FFFFFU);
}

} // namespace sorvane::plugins
