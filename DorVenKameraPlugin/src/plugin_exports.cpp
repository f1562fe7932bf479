// The plugin's two exports. exports.def and exports.map list their names.
#include <cstdint>

#include "DorVenCameraPlugin.h"

extern "C" {

/// Creates a plugin object for the host.
///
/// @param plugin  The host's cleared slot; receives the object, which the host returns through ReleasePlugin.
/// @param module  Handle of this library; the devices get its folder.
/// @return        0; -1, with the slot unchanged, when there is no slot or it is not cleared.
/// @throws std::bad_alloc  when memory is exhausted.
std::int32_t CreatePlugin(PluginInterface** plugin, HMODULE module) {
    if (!plugin || *plugin) return -1;
    *plugin = new NUV::DorVenCameraPlugin(module);
    return 0;
}

/// Destroys a plugin object with its devices. The slot keeps its value;
/// kept on purpose: docs/oddities.md, released-slot
/// @return  0, also for an empty slot.
std::int32_t ReleasePlugin(PluginInterface** plugin) {
    if (plugin) delete *plugin;
    return 0;
}

}  // extern "C"
