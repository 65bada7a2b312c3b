#pragma once

#include "common/plugin_type.h"

#include <cstdint>
#include <ladspa.h>
#include <string_view>
#include <vector>

namespace sorvane::plugins {

/// A plug-in type with its LADSPA descriptor, which points into it: not to be copied or moved.
class LadspaType {
public:
    LadspaType(PluginType pluginType, unsigned long uniqueId);
    LadspaType(const LadspaType&) = delete;
    LadspaType& operator=(const LadspaType&) = delete;

    [[nodiscard]] const LADSPA_Descriptor& descriptor() const { return record; }

private:
    PluginType type;
    std::vector<std::string> portNames;
    std::vector<const char*> portNamePointers;
    std::vector<LADSPA_PortDescriptor> portKinds;
    std::vector<LADSPA_PortRangeHint> portRanges;
    LADSPA_Descriptor record;
};

/// Where the id of a label is looked for first: its 32-bit FNV-1a hash, the lower 23 bits, plus
/// 0x800000. That is the upper half of the ids that hosts must accept (24 bits); those that are given
/// out centrally begin at 1.
std::uint32_t uniqueIdOf(std::string_view label);

} // namespace sorvane::plugins
