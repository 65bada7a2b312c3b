#include "lv2/turtle.h"

#include "lv2/lv2_uris.h"

#include <array>
#include <cstdio>
#include <utility>

namespace sorvane::plugins {

namespace {

constexpr const char* mixGroup = "mix";
constexpr const char* masksGroup = "masks";

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return result + "\"";
}

std::string numberText(float value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", static_cast<double>(value));
    return text.data();
}

std::string iri(const PluginType& type, const std::string& fragment = "") {
    return "<" + uriOf(type) + (fragment.empty() ? "" : "#" + fragment) + ">";
}

/// The group that a port belongs to, by its symbol.
std::string groupOf(const Port& port) {
    switch (port.role) {
    case PortRole::audioInput:
        return "in";
    case PortRole::audioOutput:
        return port.symbol.substr(0, port.symbol.rfind('_')); // without its side
    case PortRole::sensitivity:
        return masksGroup;
    case PortRole::latency:
    case PortRole::enabled:
        return "";
    default:
        return mixGroup;
    }
}

std::string unitOf(const Port& port) {
    if (port.role == PortRole::latency)
        return "units:frame";
    if (port.unit == "dB")
        return "units:db";
    if (port.unit == "%")
        return "units:pc";
    return port.isSwitch() ? "" : "units:coef";
}

std::string audioGroup(const PluginType& type, const std::string& symbol, const std::string& name,
                       bool isInput) {
    return iri(type, symbol) + "\n\ta " + (isInput ? "pg:InputGroup" : "pg:OutputGroup") +
           " , pg:StereoGroup ;\n" + (isInput ? "" : "\tpg:source " + iri(type, "in") + " ;\n") +
           "\tlv2:symbol " + quoted(symbol) + " ;\n\tlv2:name " + quoted(name) + " .\n\n";
}

std::string controlGroup(const PluginType& type, const std::string& symbol,
                         const std::string& name) {
    return iri(type, symbol) + "\n\ta pg:InputGroup ;\n\tlv2:symbol " + quoted(symbol) +
           " ;\n\tlv2:name " + quoted(name) + " .\n\n";
}

std::string groupsOf(const PluginType& type) {
    std::string text = audioGroup(type, "in", "Input", true);
    if (type.isStems) {
        for (std::size_t bus = 0; bus < type.busNames.size(); ++bus)
            text += audioGroup(type, "stem_" + std::to_string(bus), type.busNames[bus], false);
    } else {
        text += audioGroup(type, "out", "Output", false) + controlGroup(type, mixGroup, "Mix");
    }
    return text + controlGroup(type, masksGroup, "Masks");
}

std::string controlText(const Port& port) {
    std::string text = " ;\n\t\tlv2:default " + numberText(port.standard) + " ;\n\t\tlv2:minimum " +
                       numberText(port.lowest) + " ;\n\t\tlv2:maximum " + numberText(port.highest);
    if (const std::string unit = unitOf(port); !unit.empty())
        text += " ;\n\t\tunits:unit " + unit;
    if (port.isSwitch())
        text += " ;\n\t\tlv2:portProperty lv2:toggled";
    if (port.role == PortRole::enabled)
        text += " ;\n\t\tlv2:designation lv2:enabled";
    if (port.role == PortRole::latency)
        text += " ;\n\t\tlv2:designation lv2:latency"
                " ;\n\t\tlv2:portProperty lv2:reportsLatency , lv2:integer";
    return text;
}

std::string portText(const PluginType& type, std::size_t index) {
    const Port& port = type.ports[index];
    const bool isOutput = port.role == PortRole::audioOutput || port.role == PortRole::latency;
    std::string text = std::string("[\n\t\ta ") + (isOutput ? "lv2:OutputPort" : "lv2:InputPort") +
                       " , " + (port.isAudio() ? "lv2:AudioPort" : "lv2:ControlPort") +
                       " ;\n\t\tlv2:index " + std::to_string(index) + " ;\n\t\tlv2:symbol " +
                       quoted(port.symbol) + " ;\n\t\tlv2:name " + quoted(port.name);
    if (const std::string group = groupOf(port); !group.empty())
        text += " ;\n\t\tpg:group " + iri(type, group);
    if (port.isAudio())
        text += std::string(" ;\n\t\tlv2:designation ") +
                (port.symbol.ends_with("_left") ? "pg:left" : "pg:right");
    else
        text += controlText(port);
    return text + "\n\t]";
}

std::string descriptionStart() {
    return "@prefix atom: <http://lv2plug.in/ns/ext/atom#> .\n"
           "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
           "@prefix foaf: <http://xmlns.com/foaf/0.1/> .\n"
           "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
           "@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .\n"
           "@prefix pset: <http://lv2plug.in/ns/ext/presets#> .\n"
           "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
           "@prefix state: <http://lv2plug.in/ns/ext/state#> .\n"
           "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n"
           "@prefix urid: <http://lv2plug.in/ns/ext/urid#> .\n\n"
           "<" +
           std::string(modelPropertyUri) +
           ">\n\ta lv2:Parameter ;\n\trdfs:label \"Model\" ;\n\trdfs:range atom:Path .\n\n";
}

/// Values of ports under a name.
struct Preset {
    const char* symbol;
    const char* name;
    float remainderLevel;
    float enabled;
};

constexpr Preset presets[] = {
    {"voice", "Voice alone", -96.0F, 1.0F},
    {"natural", "Natural (-12 dB)", -12.0F, 1.0F},
    {"bypass", "Bypass", -96.0F, 0.0F},
};

bool hasPresets(const PluginType& type) {
    return !type.isStems && type.busNames.size() == 2;
}

std::string presetText(const PluginType& type, const Preset& preset) {
    std::string text = iri(type, preset.symbol) + "\n\ta pset:Preset ;\n\tlv2:appliesTo " +
                       iri(type) + " ;\n\trdfs:label " + quoted(preset.name) + " ;\n\tlv2:port ";
    const std::pair<const char*, float> values[] = {{"amount", 1.0F},
                                                    {"remainder_level", preset.remainderLevel},
                                                    {"removed", 0.0F},
                                                    {"enabled", preset.enabled}};
    for (const auto& [symbol, value] : values)
        text += std::string(symbol == values[0].first ? "" : " , ") + "[ lv2:symbol " +
                quoted(symbol) + " ; pset:value " + numberText(value) + " ]";
    return text + " .\n\n";
}

} // namespace

std::string manifestStart() {
    return "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
           "@prefix pset: <http://lv2plug.in/ns/ext/presets#> .\n"
           "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n\n";
}

std::string manifestEntry(const PluginType& type, const std::string& module) {
    std::string text = iri(type) + "\n\ta lv2:Plugin ;\n\tlv2:binary <" + module +
                       "> ;\n\trdfs:seeAlso <" + descriptionFileOf(type) + "> .\n\n";
    if (hasPresets(type))
        for (const Preset& preset : presets)
            text += iri(type, preset.symbol) + "\n\ta pset:Preset ;\n\tlv2:appliesTo " + iri(type) +
                    " ;\n\trdfs:seeAlso <" + descriptionFileOf(type) + "> .\n\n";
    return text;
}

std::string descriptionOf(const PluginType& type) {
    std::string text = descriptionStart() + groupsOf(type) + iri(type) +
                       "\n\ta lv2:Plugin , lv2:SpectralPlugin , doap:Project ;\n"
                       "\tdoap:name " +
                       quoted(type.name) +
                       " ;\n"
                       "\tdoap:license <http://opensource.org/licenses/MIT> ;\n"
                       "\tdoap:maintainer [ foaf:name \"The SorvaneEngine developers\" ] ;\n"
                       "\tlv2:minorVersion 2 ;\n"
                       "\tlv2:microVersion 0 ;\n"
                       "\tlv2:optionalFeature urid:map ;\n"
                       "\tlv2:extensionData state:interface ;\n"
                       "\tpg:mainInput " +
                       iri(type, "in") + " ;\n\tpg:mainOutput " +
                       iri(type, type.isStems ? "stem_0" : "out") + " ;\n\tlv2:port ";
    for (std::size_t i = 0; i < type.ports.size(); ++i)
        text += (i == 0 ? "" : " , ") + portText(type, i);
    text += " .\n\n";
    if (hasPresets(type))
        for (const Preset& preset : presets)
            text += presetText(type, preset);
    return text;
}

} // namespace sorvane::plugins
