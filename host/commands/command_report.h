// How a device answers each command, as a table.
#pragma once

#include <optional>
#include <ostream>
#include <vector>

#include "device_commands.h"
#include "plugin_library.h"

namespace host {

/// One command of the device's map.
struct CommandReportRow {
    std::int32_t id;
    const DeviceCommand* command;                 // null: unknown to the host, and not sent
    std::optional<NUV::PluginCallStatus> closed;  // before the device was opened; none: not sent
    std::optional<NUV::PluginCallStatus> opened;  // none: not sent, or the device could not be opened
};

/// Sends every command to a device that is not yet opened, opens it with its defaults, and sends every command again.
/// Stop and freeze are each sent to a grab that was just started, and open comes last. Motor and I/O port commands are
/// left out when the device offers such a kind: they would move or switch something.
///
/// @param kinds  The interface kinds of the device.
std::vector<CommandReportRow> askEveryCommand(NUV::PluginDeviceBase& device, const std::vector<std::uint32_t>& kinds);

/// Asks the plugin's first device and prints the table.
///
/// @param json  One object on data with a list of the commands; else a table for people, on data as well.
/// @return      Exit code: failed when there is no device or it could not be opened.
int showCommands(PluginLibrary& library, bool json, std::ostream& data, std::ostream& people);

}  // namespace host
