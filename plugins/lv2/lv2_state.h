#pragma once

#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

namespace sorvane::plugins {

class PluginInstance;

/// Keeps which model a plug-in uses in the host's session: an atom:Path under modelPropertyUri, which
/// the host may turn into a path of the session's own folder.
class Lv2State {
public:
    /// Without a map the plug-in works, but keeps no state.
    explicit Lv2State(const LV2_URID_Map* map);

    LV2_State_Status save(const PluginInstance& plugin, LV2_State_Store_Function store,
                          LV2_State_Handle handle, const LV2_Feature* const* features) const;

    /// When the model can't be loaded or has other busses, the plug-in keeps the one it has, and the
    /// reason goes to standard error. Raises std::bad_alloc only.
    LV2_State_Status restore(PluginInstance& plugin, LV2_State_Retrieve_Function retrieve,
                             LV2_State_Handle handle, const LV2_Feature* const* features) const;

private:
    LV2_URID modelProperty = 0;
    LV2_URID pathType = 0;
};

/// The data of a feature, or null when the host doesn't offer it.
const void* featureData(const LV2_Feature* const* features, const char* uri);

} // namespace sorvane::plugins
