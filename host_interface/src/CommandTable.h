// The commands of every device, one row each.
#pragma once

#include <cstdint>
#include <map>

#include "PluginDeviceBase.h"

namespace NUV {

/// All commands, by id.
std::map<std::int32_t, CommandAdapter> makeCommandMap();

}  // namespace NUV
