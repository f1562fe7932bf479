// One command, sent to a plugin's device.
#pragma once

#include <ostream>

#include "device_commands.h"
#include "host_options.h"
#include "plugin_library.h"

namespace host {

/// Sends the command that the options name to the plugin's first device, opened before if they ask for it.
///
/// @return  Exit code: done when the device answered (0, 1); failed otherwise, and when it could not be opened.
int callCommand(PluginLibrary& library, const HostOptions& options, std::ostream& data, std::ostream& people);

/// The same for a device.
int callCommand(NUV::PluginDeviceBase& device, const HostOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
