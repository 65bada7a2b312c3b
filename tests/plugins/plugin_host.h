#pragma once

#include "common/plugin_type.h"
#include "util/signals.h"

#include <functional>
#include <ladspa.h>
#include <lv2/core/lv2.h>
#include <memory>
#include <string>
#include <vector>

// A small host for the modules that were built, for what real hosts don't do. Beside the models that
// ship, the modules find these:
//
//   groups_48k    a mask from a network that takes frames in groups of four
//   three_busses  two masks
//   many_busses   seventeen busses
//
// and files with the names broken.model and folder.model that are none. For LV2 there is a bundle with
// the descriptions of all of them.
namespace sorvane::test {

enum class Format { ladspa, lv2 };

struct HostedPlugin {
    std::function<void(std::size_t port, float* memory)> connect;
    std::function<void()> activate;
    std::function<void(std::size_t count)> run;
    std::shared_ptr<void> handle; // null where the module refuses
};

// std::out_of_range when the module has no such plug-in.
HostedPlugin instantiate(Format format, const std::string& label, double rate);

const std::vector<const LADSPA_Descriptor*>& ladspaDescriptors();
const std::vector<const LV2_Descriptor*>& lv2Descriptors();

// The plug-in of a label, as the modules should describe it.
const plugins::PluginType& typeOf(const std::string& label);

// Where the bundle's descriptions lie.
const std::string& bundlePath();

// An instance with its controls, all connected.
class Session {
public:
    Session(Format format, const std::string& label, double rate = 48000.0);
    void set(const std::string& symbol, float value);
    [[nodiscard]] std::size_t latency() const { return static_cast<std::size_t>(controls.back()); }

    // Rows of all outputs, in blocks of these sizes again and again.
    AudioRows run(const AudioRows& input, const std::vector<std::size_t>& blocks = {512});

    const plugins::PluginType& type;
    HostedPlugin plugin;

private:
    std::vector<float> controls; // by port
};

} // namespace sorvane::test
