#include "common/model_catalogue.h"
#include "common/plugin_instance.h"
#include "lv2/lv2_state.h"
#include "lv2/lv2_uris.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <lv2/core/lv2.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sorvane::plugins {

namespace {

/// A plug-in type as the host knows it.
struct Lv2Type : LV2_Descriptor {
    explicit Lv2Type(PluginType pluginType);

    PluginType type;
    std::string uri;
};

/// Raises std::runtime_error unless the bundle describes as many ports as the plug-in has: a host
/// connects what is described, and by now there may be another model of that name, with other busses.
void requireDescribed(const PluginType& type, const char* bundlePath) {
    std::ifstream file(std::filesystem::path(bundlePath) / descriptionFileOf(type));
    std::size_t numPorts = 0;
    for (std::string word; file >> word;)
        if (word == "lv2:index")
            ++numPorts;
    if (numPorts != type.ports.size())
        throw std::runtime_error("the model has other busses than the bundle describes");
}

struct Lv2Instance {
    Lv2Instance(const PluginType& type, double sampleRate, const LV2_Feature* const* features)
        : plugin(type, modelPathFor(type, sampleRate), sampleRate),
          state(static_cast<const LV2_URID_Map*>(featureData(features, LV2_URID__map))) {}

    PluginInstance plugin;
    Lv2State state;
};

Lv2Instance& instanceOf(LV2_Handle handle) {
    return *static_cast<Lv2Instance*>(handle);
}

LV2_Handle instantiate(const LV2_Descriptor* descriptor, double sampleRate, const char* bundlePath,
                       const LV2_Feature* const* features) {
    const PluginType& type = static_cast<const Lv2Type*>(descriptor)->type;
    try {
        requireDescribed(type, bundlePath);
        return new Lv2Instance(type, sampleRate, features);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane: %s: %s\n", type.label.c_str(), error.what());
    } catch (...) {
        std::fprintf(stderr, "sorvane: %s: unknown failure\n", type.label.c_str());
    }
    return nullptr;
}

void connectPort(LV2_Handle handle, std::uint32_t port, void* data) {
    instanceOf(handle).plugin.connect(port, data);
}

void activate(LV2_Handle handle) {
    instanceOf(handle).plugin.activate();
}

void run(LV2_Handle handle, std::uint32_t count) {
    instanceOf(handle).plugin.run(count);
}

void cleanup(LV2_Handle handle) {
    delete static_cast<Lv2Instance*>(handle);
}

LV2_State_Status saveState(LV2_Handle handle, LV2_State_Store_Function store,
                           LV2_State_Handle state, std::uint32_t /*flags*/,
                           const LV2_Feature* const* features) {
    const Lv2Instance& instance = instanceOf(handle);
    try {
        return instance.state.save(instance.plugin, store, state, features);
    } catch (...) {
        return LV2_STATE_ERR_UNKNOWN; // out of memory
    }
}

LV2_State_Status restoreState(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                              LV2_State_Handle state, std::uint32_t /*flags*/,
                              const LV2_Feature* const* features) {
    Lv2Instance& instance = instanceOf(handle);
    try {
        return instance.state.restore(instance.plugin, retrieve, state, features);
    } catch (...) {
        return LV2_STATE_ERR_UNKNOWN; // out of memory
    }
}

const void* extensionData(const char* uri) {
    static const LV2_State_Interface stateInterface{saveState, restoreState};
    return std::strcmp(uri, LV2_STATE__interface) == 0 ? &stateInterface : nullptr;
}

Lv2Type::Lv2Type(PluginType pluginType)
    : LV2_Descriptor{}, type(std::move(pluginType)), uri(uriOf(type)) {
    URI = uri.c_str();
    LV2_Descriptor::instantiate = plugins::instantiate;
    connect_port = connectPort;
    LV2_Descriptor::activate = plugins::activate;
    LV2_Descriptor::run = plugins::run;
    LV2_Descriptor::cleanup = plugins::cleanup;
    extension_data = extensionData;
}

/// All plug-ins of the models that were there when the host asked for those of a bundle, which may
/// carry models of its own. A host uses those of them that the bundle describes.
class Library {
public:
    explicit Library(const std::filesystem::path& bundle) {
        const std::vector<CatalogueModel> models = listModels({bundle / "models"});
        if (hasSpeechModel(models))
            types.push_back(std::make_unique<Lv2Type>(voiceCleaner(2)));
        for (const CatalogueModel& model : models) {
            types.push_back(std::make_unique<Lv2Type>(mixPlugin(model, 2)));
            if (canGiveStems(model))
                types.push_back(std::make_unique<Lv2Type>(stemsPlugin(model)));
        }
        record.handle = this;
        record.size = sizeof record;
        record.cleanup = [](LV2_Lib_Handle handle) { delete static_cast<Library*>(handle); };
        record.get_plugin = [](LV2_Lib_Handle handle, std::uint32_t index) {
            return static_cast<const Library*>(handle)->descriptor(index);
        };
    }

    [[nodiscard]] const LV2_Lib_Descriptor* libraryDescriptor() const { return &record; }

private:
    [[nodiscard]] const LV2_Descriptor* descriptor(std::uint32_t index) const {
        return index < types.size() ? types[index].get() : nullptr;
    }

    LV2_Lib_Descriptor record{};
    std::vector<std::unique_ptr<Lv2Type>> types;
};

} // namespace

} // namespace sorvane::plugins

LV2_SYMBOL_EXPORT const LV2_Lib_Descriptor*
lv2_lib_descriptor(const char* bundlePath, const LV2_Feature* const* /*features*/) {
    try {
        return (new sorvane::plugins::Library(bundlePath))->libraryDescriptor();
    } catch (const std::exception&) {
        return nullptr; // out of memory
    }
}
