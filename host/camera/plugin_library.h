// A camera plugin as the measuring host loads it: by absolute path at run time, with two known functions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "PluginBase.h"
#include "platform.h"

namespace host {

/// A loaded plugin with its plugin object. One thread.
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

    /// All pairs of device and interface kind. Once per object: the plugin's cursor does not go back.
    std::vector<PluginDeviceRecord> enumerate();

    /// Enumerates. @return  The plugin's first device; null, with the reason, when it offers none.
    NUV::PluginDeviceBase* firstDevice(std::string& error);

    /// What the plugin told of its devices when firstDevice enumerated it.
    const std::vector<PluginDeviceRecord>& records() const { return _records; }

    /// Interface kinds of the device that firstDevice gave.
    std::vector<std::uint32_t> kindsOfFirstDevice() const;

    /// A device; null when there are not that many. None before enumerate.
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

/// The plugin that a program finds without being told: beside it, or else in the plugin's folder of the same
/// installation. Where there is neither, the path beside it.
/// @param program  Full path of the program.
std::string pluginPathOf(const std::string& program);

/// pluginPathOf this program.
std::string defaultPluginPath();

}  // namespace host
