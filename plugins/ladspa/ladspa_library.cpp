#include "common/model_catalogue.h"
#include "ladspa/ladspa_type.h"

#include <exception>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#if defined(_WIN32)
#define SORVANE_PLUGIN_EXPORT __declspec(dllexport)
#else
#define SORVANE_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

namespace sorvane::plugins {

namespace {

/// All plug-ins of the models that were there when the host first asked.
class Library {
public:
    Library() {
        const std::vector<CatalogueModel> models = listModels();
        for (const int channels : {1, 2})
            if (hasSpeechModel(models))
                add(voiceCleaner(channels));
        for (const CatalogueModel& model : models)
            for (const int channels : {1, 2})
                add(mixPlugin(model, channels));
    }

    [[nodiscard]] const LADSPA_Descriptor* descriptor(unsigned long index) const {
        return index < types.size() ? &types[index]->descriptor() : nullptr;
    }

private:
    /// When two labels have the same id, the later one takes the next that is free.
    void add(PluginType type) {
        std::uint32_t id = uniqueIdOf(type.label);
        while (!ids.insert(id).second)
            id = 0x800000U | ((id + 1) & 0x7FFFFFU);
        types.push_back(std::make_unique<LadspaType>(std::move(type), id));
    }

    std::set<std::uint32_t> ids;
    std::vector<std::unique_ptr<LadspaType>> types;
};

} // namespace

} // namespace sorvane::plugins

extern "C" SORVANE_PLUGIN_EXPORT const LADSPA_Descriptor* ladspa_descriptor(unsigned long index) {
    try {
        static const sorvane::plugins::Library library;
        return library.descriptor(index);
    } catch (const std::exception&) {
        return nullptr; // out of memory
    }
}
