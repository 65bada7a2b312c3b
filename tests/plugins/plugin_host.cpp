#include "plugins/plugin_host.h"

#include "lv2/lv2_uris.h"
#include "lv2/turtle.h"
#include "tools/small_models.h"
#include "util/model_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <lv2/urid/urid.h>
#include <map>
#include <stdexcept>

namespace fs = std::filesystem;

namespace sorvane::test {

namespace {

ModelFile groupsModel() {
    ModelFile model;
    model.layers = {conv("down", "input", {{1, 1, 1, 1}, {1.0F}}, {{1}, {0.0F}}, {.strideT = 4}),
                    transposedConv("up", "down", {{4, 1, 1, 1}, {1.0F, 2.0F, 3.0F, 4.0F}},
                                   {{1}, {-2.0F}}, 1, {.strideT = 4}),
                    activation("mask", 6, "up")};
    model.outputSource = "mask";
    return model;
}

ModelFile manyBussesModel() {
    ModelFile model;
    model.numMasks = 16;
    model.outputNames.assign(17, "same name");
    model.outputNames[5] = "say \"hi\"";
    model.outputNames[16] = "same name 1";
    model.layers = {conv("masks", "input", constantTensor({1, 1, 1, 16}, 0.0F),
                         constantTensor({16}, 1.0F / 32.0F))};
    model.outputSource = "masks";
    return model;
}

// Tells the modules where it is before they are loaded.
class ModelFolder {
public:
    ModelFolder() : folder(TempFile("").path()) {
        fs::create_directories(folder / "folder.model");
        fs::create_directories(bundleFolder);
        write("three_busses", threeBusModel().bytes());
        write("groups-48k", groupsModel().bytes());
        write("many.busses", manyBussesModel().bytes());
        std::vector<std::uint8_t> broken = groupsModel().bytes();
        broken.resize(broken.size() / 2);
        write("broken", broken);
        setenv("SORVANE_MODEL_PATH", ("/nowhere::" + folder.string()).c_str(), 1);
    }
    ~ModelFolder() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    ModelFolder(const ModelFolder&) = delete;
    ModelFolder& operator=(const ModelFolder&) = delete;

    [[nodiscard]] std::vector<fs::path> folders() const { return {SORVANE_MODELS_DIR, folder}; }
    [[nodiscard]] const std::string& bundle() const { return bundleFolder; }

private:
    void write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
        TempFile::writeFile((folder / (name + ".model")).string(), bytes);
    }

    fs::path folder;
    std::string bundleFolder = (folder / "bundle").string();
};

const ModelFolder& modelFolder() {
    static const ModelFolder folder;
    return folder;
}

// A function of a module, which stays loaded, as in most hosts.
template <typename Function>
Function functionOf(const char* module, const char* name) {
    modelFolder();
    void* const library = dlopen(module, RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw std::runtime_error(dlerror());
    return reinterpret_cast<Function>(dlsym(library, name));
}

// All that a module describes.
template <typename Descriptor>
std::vector<const Descriptor*>
descriptorsOf(const std::function<const Descriptor*(std::uint32_t)>& get) {
    std::vector<const Descriptor*> descriptors;
    for (std::uint32_t i = 0; const Descriptor* descriptor = get(i); ++i)
        descriptors.push_back(descriptor);
    return descriptors;
}

template <typename Descriptor>
HostedPlugin host(const Descriptor& plugin, void* instance) {
    if (!instance)
        return {};
    return {[=, &plugin](std::size_t port, float* memory) {
                plugin.connect_port(instance, static_cast<std::uint32_t>(port), memory);
            },
            [=, &plugin] { plugin.activate(instance); },
            [=, &plugin](std::size_t count) {
                plugin.run(instance, static_cast<std::uint32_t>(count));
            },
            std::shared_ptr<void>(instance, plugin.cleanup)};
}

LV2_URID mapUri(LV2_URID_Map_Handle /*handle*/, const char* uri) {
    static std::map<std::string, LV2_URID> ids;
    return ids.emplace(uri, static_cast<LV2_URID>(ids.size() + 1)).first->second;
}

const std::map<std::string, plugins::PluginType>& allTypes() {
    static const auto types = [] {
        std::map<std::string, plugins::PluginType> result;
        const auto add = [&](const plugins::PluginType& type) { result.emplace(type.label, type); };
        for (const auto& model : plugins::listModels(modelFolder().folders())) {
            add(plugins::mixPlugin(model, 1));
            add(plugins::mixPlugin(model, 2));
            if (plugins::canGiveStems(model))
                add(plugins::stemsPlugin(model));
        }
        return result;
    }();
    return types;
}

} // namespace

const std::vector<const LADSPA_Descriptor*>& ladspaDescriptors() {
    static const auto descriptors = descriptorsOf<LADSPA_Descriptor>(
        functionOf<LADSPA_Descriptor_Function>(SORVANE_LADSPA, "ladspa_descriptor"));
    return descriptors;
}

const std::vector<const LV2_Descriptor*>& lv2Descriptors() {
    static const auto descriptors = [] {
        static const LV2_Lib_Descriptor* library = functionOf<LV2_Lib_Descriptor_Function>(
            SORVANE_LV2, "lv2_lib_descriptor")(modelFolder().bundle().c_str(), nullptr);
        return descriptorsOf<LV2_Descriptor>(
            [](std::uint32_t i) { return library->get_plugin(library->handle, i); });
    }();
    return descriptors;
}

HostedPlugin instantiate(Format format, const std::string& label, double rate) {
    if (format == Format::ladspa) {
        for (const LADSPA_Descriptor* plugin : ladspaDescriptors())
            if (plugin->Label == label)
                return host(*plugin, plugin->instantiate(plugin, static_cast<unsigned long>(rate)));
    } else {
        static LV2_URID_Map map{nullptr, mapUri};
        static const LV2_Feature mapFeature{LV2_URID__map, &map};
        static const std::array<const LV2_Feature*, 2> features{&mapFeature, nullptr};
        for (const LV2_Descriptor* plugin : lv2Descriptors())
            if (plugin->URI == SORVANE_LV2_PREFIX + label)
                return host(*plugin, plugin->instantiate(plugin, rate, bundlePath().c_str(),
                                                         features.data()));
    }
    throw std::out_of_range("no plug-in " + label);
}

const plugins::PluginType& typeOf(const std::string& label) {
    return allTypes().at(label);
}

const std::string& bundlePath() {
    static const std::string path = [] {
        for (const auto& [label, type] : allTypes())
            std::ofstream(fs::path(modelFolder().bundle()) / plugins::descriptionFileOf(type))
                << plugins::descriptionOf(type);
        return modelFolder().bundle();
    }();
    return path;
}

Session::Session(Format format, const std::string& label, double rate)
    : type(typeOf(label)), plugin(instantiate(format, label, rate)), controls(type.ports.size()) {
    if (!plugin.handle)
        throw std::runtime_error(label + " was refused");
    for (std::size_t i = 0; i < controls.size(); ++i) {
        controls[i] = type.ports[i].standard;
        if (!type.ports[i].isAudio())
            plugin.connect(i, &controls[i]);
    }
    plugin.activate();
}

void Session::set(const std::string& symbol, float value) {
    const auto found =
        std::find_if(type.ports.begin(), type.ports.end(),
                     [&](const plugins::Port& port) { return port.symbol == symbol; });
    if (found == type.ports.end())
        throw std::out_of_range("no control " + symbol);
    controls[static_cast<std::size_t>(found - type.ports.begin())] = value;
}

AudioRows Session::run(const AudioRows& input, const std::vector<std::size_t>& blocks) {
    AudioRows audio = input;
    const auto numAudio = static_cast<std::size_t>(
        std::count_if(type.ports.begin(), type.ports.end(),
                      [](const plugins::Port& port) { return port.isAudio(); }));
    audio.resize(numAudio, std::vector<float>(input[0].size(), 7.0F));
    std::size_t next = 0;
    for (std::size_t start = 0; start < input[0].size();) {
        const std::size_t count = std::min(blocks[next++ % blocks.size()], input[0].size() - start);
        for (std::size_t port = 0; port < numAudio; ++port)
            plugin.connect(port, audio[port].data() + start);
        plugin.run(count);
        start += count;
    }
    return {audio.begin() + static_cast<std::ptrdiff_t>(input.size()), audio.end()};
}

} // namespace sorvane::test
