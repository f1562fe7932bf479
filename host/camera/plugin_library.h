// A camera plugin, loaded as a measuring host does: by absolute path at run time, with two known functions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "PluginBase.h"
#include "platform.h"

namespace host {

/// A loaded plugin with its plugin object. Used by one thread.
class PluginLibrary {
public:
    /// Loads the library and creates its plugin object.
    /// @param path  Relative to the current folder, or absolute.
    /// @return      null, with the reason, when it cannot be loaded or gives no plugin object.
    static std::unique_ptr<PluginLibrary> load(const std::string& path, std::string& error);

    /// Releases the plugin object, then the library.
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    /// All pairs of device and interface kind. Call it once per object: the plugin's cursor never goes back.
    std::vector<PluginDeviceRecord> enumerate();

    /// Enumerates. @return The plugin's first device; null, with the reason, when it offers none.
    NUV::PluginDeviceBase* firstDevice(std::string& error);

    /// The plugin's device records from the enumeration in firstDevice.
    const std::vector<PluginDeviceRecord>& records() const { return _records; }

    /// Interface kinds of the device that firstDevice returned.
    std::vector<std::uint32_t> kindsOfFirstDevice() const;

    /// A device; null if there are fewer. None before enumerate.
    NUV::PluginDeviceBase* device(std::size_t index) const;

    const std::string& path() const { return _path; }

private:
    PluginLibrary(std::string path, HMODULE module) : _path(std::move(path)), _module(module) {}
    bool createPlugin(std::string& error);

    std::string _path;
    HMODULE _module;
    PluginInterface* _plugin = nullptr;
    std::vector<PluginDeviceRecord> _records;
};

/// The plugin that a program finds by itself: next to the program, otherwise in the plugin's folder of the same
/// installation. If neither exists, the path next to the program.
/// @param program  Full path of the program.
std::string pluginPathOf(const std::string& program);

/// pluginPathOf for this program.
std::string defaultPluginPath();

}  // namespace host
