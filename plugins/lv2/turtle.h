#pragma once

#include "common/plugin_type.h"

#include <string>

namespace sorvane::plugins {

/// What a bundle says of a plug-in, in the Turtle notation of RDF.

/// The lines of manifest.ttl that come before the plug-ins' own.
std::string manifestStart();

/// A plug-in's lines of manifest.ttl: its module, and the file that describes it.
std::string manifestEntry(const PluginType& type, const std::string& module);

/// The file that describes a plug-in: its groups and ports.
std::string descriptionOf(const PluginType& type);

} // namespace sorvane::plugins
