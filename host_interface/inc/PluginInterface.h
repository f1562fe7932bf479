// Root of every plugin object: what a host holds between CreatePlugin and ReleasePlugin.
#pragma once

#include <cstdint>

#include "HostTypes.h"

/// Operations in the order of their slots; the order is a contract with hosts.
class PluginInterface {
public:
    virtual ~PluginInterface() = default;

    /// Fills a record for the next pair of device and interface kind.
    ///
    /// @param record  Written only when 1 is returned. For null the result is 0, and nothing changes.
    /// @return        1: filled. 0: the current device has no further kind; the next call continues with the next
    ///                device, and always returns 0 after the last one.
    virtual std::int32_t enumerate(PluginDeviceRecord* record) = 0;

protected:
    PluginInterface() = default;
    PluginInterface(const PluginInterface&) = delete;
    PluginInterface& operator=(const PluginInterface&) = delete;
};
