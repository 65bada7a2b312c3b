#pragma once

#include "common/plugin_type.h"

#include <string>

namespace sorvane::plugins {

/// Every URI of these plug-ins begins so; a plug-in's goes on with its label.
#define SORVANE_LV2_PREFIX "urn:sorvane:lv2:"

/// The one property of a plug-in's state: the path of its model, an atom:Path.
constexpr const char* modelPropertyUri = SORVANE_LV2_PREFIX "model";

inline std::string uriOf(const PluginType& type) {
    return SORVANE_LV2_PREFIX + type.label;
}

/// The name of the file in the bundle that describes a plug-in.
inline std::string descriptionFileOf(const PluginType& type) {
    return type.label + ".ttl";
}

} // namespace sorvane::plugins
