// One command, sent to a plugin's device.
#pragma once

#include <ostream>

#include "device_commands.h"
#include "host_options.h"

namespace host {

/// Sends the command that the options name to a device, which is opened first if they say so.
///
/// @return  Exit code: done when the device answered (0, 1); failed otherwise, and when it could not be opened.
int callCommand(NUV::PluginDeviceBase& device, const CallOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
