// A plugin object: its module, its devices and the enumeration of their interface kinds.
// Host and plugin must be built by the same compiler: the host walks this class through its inline accessors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "PluginDeviceBase.h"
#include "PluginInterface.h"
#include "platform.h"

namespace NUV {

/// Called by one thread at a time.
class PluginBase : public PluginInterface {
public:
    /// @param module  The plugin's own module; the devices get its folder.
    explicit PluginBase(HMODULE module);

    /// Destroys the devices in the order of their creation.
    ~PluginBase() override;

    /// Creates the devices at the first call, then fills one record per call; see PluginInterface. If creating a device
    /// throws, the next call tries again.
    std::int32_t enumerate(PluginDeviceRecord* record) override;

    /// Adds the plugin's devices (addDevice); none here.
    /// @param moduleFolder  Folder of the module with its trailing backslash; see moduleFolder().
    virtual void createDevices(HMODULE module, const char* moduleFolder);

    /// Appends a device; null is ignored.
    void addDevice(std::unique_ptr<PluginDeviceBase> device);

    /// The module's file name up to its last backslash, or all of it if it contains none; "" when it is unknown.
    const char* moduleFolder() const { return _moduleFolder; }

    // ---- for hosts; needs only this header

    /// Devices created so far: none before the first enumerate.
    std::size_t deviceCount() const { return _devices.size(); }

    /// A device, owned by the plugin. @param index  0 .. deviceCount() - 1; null beyond.
    PluginDeviceBase* device(std::size_t index) const {
        return index < _devices.size() ? _devices[index].get() : nullptr;
    }

private:
    HMODULE _module;
    char _moduleFolder[MAX_PATH];
    bool _devicesPending;
    std::int32_t _cursor;  // current device of enumerate
    std::vector<std::unique_ptr<PluginDeviceBase>> _devices;
};

}  // namespace NUV
