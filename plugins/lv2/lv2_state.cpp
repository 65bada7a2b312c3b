#include "lv2/lv2_state.h"

#include "common/plugin_instance.h"
#include "lv2/lv2_uris.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <lv2/atom/atom.h>
#include <new>
#include <string>

namespace sorvane::plugins {

namespace {

/// Gives a string of the host back to it.
std::string takeText(char* text, const LV2_Feature* const* features) {
    std::string copy = text;
    if (const auto* free =
            static_cast<const LV2_State_Free_Path*>(featureData(features, LV2_STATE__freePath)))
        free->free_path(free->handle, text);
    else
        std::free(text);
    return copy;
}

const LV2_State_Map_Path* pathMap(const LV2_Feature* const* features) {
    return static_cast<const LV2_State_Map_Path*>(featureData(features, LV2_STATE__mapPath));
}

} // namespace

const void* featureData(const LV2_Feature* const* features, const char* uri) {
    for (; features && *features; ++features)
        if (std::strcmp((*features)->URI, uri) == 0)
            return (*features)->data;
    return nullptr;
}

Lv2State::Lv2State(const LV2_URID_Map* map) {
    if (!map)
        return;
    modelProperty = map->map(map->handle, modelPropertyUri);
    pathType = map->map(map->handle, LV2_ATOM__Path);
}

LV2_State_Status Lv2State::save(const PluginInstance& plugin, LV2_State_Store_Function store,
                                LV2_State_Handle handle, const LV2_Feature* const* features) const {
    if (modelProperty == 0 || pathType == 0)
        return LV2_STATE_ERR_NO_FEATURE;
    if (plugin.choosesModel())
        return LV2_STATE_SUCCESS;
    std::string path = plugin.modelPath();
    std::uint32_t flags = LV2_STATE_IS_POD;
    if (const LV2_State_Map_Path* map = pathMap(features)) {
        char* const mapped = map->abstract_path(map->handle, path.c_str());
        if (!mapped)
            return LV2_STATE_ERR_UNKNOWN;
        path = takeText(mapped, features);
        flags |= LV2_STATE_IS_PORTABLE;
    }
    return store(handle, modelProperty, path.c_str(), path.size() + 1, pathType, flags);
}

LV2_State_Status Lv2State::restore(PluginInstance& plugin, LV2_State_Retrieve_Function retrieve,
                                   LV2_State_Handle handle,
                                   const LV2_Feature* const* features) const {
    if (modelProperty == 0 || pathType == 0)
        return LV2_STATE_ERR_NO_FEATURE;
    std::size_t size = 0;
    std::uint32_t valueType = 0;
    std::uint32_t flags = 0;
    const auto* text =
        static_cast<const char*>(retrieve(handle, modelProperty, &size, &valueType, &flags));
    if (!text)
        return LV2_STATE_ERR_NO_PROPERTY;
    if (valueType != pathType || size == 0)
        return LV2_STATE_ERR_BAD_TYPE;
    std::string path(text, std::find(text, text + size, '\0'));
    if (const LV2_State_Map_Path* map = pathMap(features)) {
        char* const mapped = map->absolute_path(map->handle, path.c_str());
        if (!mapped)
            return LV2_STATE_ERR_UNKNOWN;
        path = takeText(mapped, features);
    }
    if (path == plugin.modelPath())
        return LV2_STATE_SUCCESS;
    try {
        plugin.load(path);
        return LV2_STATE_SUCCESS;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane: %s: %s\n", path.c_str(), error.what());
        return LV2_STATE_ERR_UNKNOWN;
    }
}

} // namespace sorvane::plugins
