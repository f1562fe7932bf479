// What a plugin says about itself.
#pragma once

#include <ostream>

#include "plugin_library.h"

namespace host {

/// Enumerates the plugin and prints module, device id, kinds, properties and information document.
///
/// @param json  One flat object on data; else lines for people, on data as well.
/// @return      Exit code: failed when the plugin offers no device.
int showInfo(PluginLibrary& library, bool json, std::ostream& data, std::ostream& people);

}  // namespace host
