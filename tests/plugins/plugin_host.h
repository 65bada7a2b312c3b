#pragma once

#include "common/plugin_type.h"
#include "util/signals.h"

#include <cstddef>
#include <functional>
#include <ladspa.h>
#include <lv2/core/lv2.h>
#include <memory>
#include <string>
#include <vector>

// A small host for the modules that were built, in both formats. Beside the model that ships, the
// modules find these:
//   groups_48k    a mask from a network that takes frames in groups of four
//   three_busses  two masks
//   many_busses   seventeen busses
// and files with the names broken.model and folder.model that are none. For LV2 there is a bundle with
// the descriptions of all of them.
namespace sorvane::test {

enum class Format { ladspa, lv2 };

class HostedPlugin {
public:
    HostedPlugin() = default;
    HostedPlugin(const HostedPlugin&) = delete;
    HostedPlugin& operator=(const HostedPlugin&) = delete;
    virtual ~HostedPlugin() = default;

    virtual void connect(std::size_t port, float* memory) = 0;
    virtual void activate() = 0;
    virtual void run(std::size_t count) = 0;
    virtual void* handle() = 0;
};

// Null when the module refuses. std::out_of_range when it has no such plug-in.
std::unique_ptr<HostedPlugin> instantiate(Format format, const std::string& label, double rate);

const std::vector<const LADSPA_Descriptor*>& ladspaDescriptors();
const std::vector<const LV2_Descriptor*>& lv2Descriptors();

// The plug-in of a label, as the modules should describe it.
const plugins::PluginType& typeOf(const std::string& label);

// Where the model file of a label's plug-in lies.
const std::string& modelPathOf(const std::string& label);

// Where the bundle's descriptions lie.
const std::string& bundlePath();

// The size of the next block.
using BlockSizes = std::function<std::size_t()>;
BlockSizes blocksOf(std::size_t size);
// From 1 to 2,000.
BlockSizes randomBlocks(unsigned seed);

// An instance with its controls, all connected.
class Session {
public:
    Session(Format format, const std::string& label, double rate = 48000.0);

    void set(const std::string& symbol, float value);
    [[nodiscard]] std::size_t latency() const { return static_cast<std::size_t>(controls.back()); }

    // Rows of all outputs.
    AudioRows run(const AudioRows& input, const BlockSizes& blocks = blocksOf(512));

    const plugins::PluginType& type;
    std::unique_ptr<HostedPlugin> plugin;

private:
    std::vector<float> controls; // by port
};

} // namespace sorvane::test
