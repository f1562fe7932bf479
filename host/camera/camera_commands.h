// Numbers of the device's commands that this host sends by itself.
#pragma once

#include <cstdint>

namespace host {

enum CommandId : std::int32_t {
    kOpen = 1001,
    kGrab = 1002,
    kFreeze = 1004,
    kSetCallback = 1005,
    kRemoveCallback = 1006,
    kImageMemory = 1011,
    kFrameRate = 1107,
};

}  // namespace host
