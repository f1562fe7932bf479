#include "plugin_library.h"

#include <utility>

#include "absolute_path.h"

namespace host {
namespace {

using CreatePluginFunction = std::int32_t (*)(PluginInterface** plugin, HMODULE module);
using ReleasePluginFunction = std::int32_t (*)(PluginInterface** plugin);

// A leak checker searches the modules that are loaded at the end. If the plugin is unloaded, its registries, which live
// as long as their module, look like leaks.
#if defined(DORVEN_KEEP_PLUGIN_LOADED)
constexpr bool kUnloads = false;
#else
constexpr bool kUnloads = true;
#endif

template <typename Function>
Function exportedFunction(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

std::unique_ptr<PluginLibrary> PluginLibrary::load(const std::string& path, std::string& error) {
    std::string fullPath = platform_absolutePath(path);
    if (_access(fullPath.c_str(), 0) != 0) {
        error = fullPath + ": no such file";
        return nullptr;
    }
    const HMODULE module = LoadLibraryExA(fullPath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) {
        error = fullPath + ": cannot be loaded as a library (error " + std::to_string(GetLastError()) + ")";
        return nullptr;
    }
    std::unique_ptr<PluginLibrary> library(new PluginLibrary(std::move(fullPath), module));
    return library->createPlugin(error) ? std::move(library) : nullptr;
}

PluginLibrary::~PluginLibrary() {
    if (_plugin) exportedFunction<ReleasePluginFunction>(_module, "ReleasePlugin")(&_plugin);
    if (kUnloads) FreeLibrary(_module);
}

std::vector<PluginDeviceRecord> PluginLibrary::enumerate() {
    std::vector<PluginDeviceRecord> records;
    auto& base = static_cast<NUV::PluginBase&>(*_plugin);
    PluginDeviceRecord record{};
    // A 0 ends one device; the plugin has created its devices by then.
    std::size_t devicesDone = 0;
    do {
        while (_plugin->enumerate(&record) == 1) records.push_back(record);
        ++devicesDone;
    } while (devicesDone < base.deviceCount());
    return records;
}

NUV::PluginDeviceBase* PluginLibrary::firstDevice(std::string& error) {
    _records = enumerate();
    NUV::PluginDeviceBase* const first = _records.empty() ? nullptr : device(0);
    if (!first) error = _path + ": offers no device";
    return first;
}

std::vector<std::uint32_t> PluginLibrary::kindsOfFirstDevice() const {
    std::vector<std::uint32_t> kinds;
    for (const PluginDeviceRecord& record : _records) {
        if (record.deviceId == _records.front().deviceId) kinds.push_back(record.interfaceKind);
    }
    return kinds;
}

NUV::PluginDeviceBase* PluginLibrary::device(std::size_t index) const {
    return static_cast<NUV::PluginBase&>(*_plugin).device(index);
}

bool PluginLibrary::createPlugin(std::string& error) {
    const auto create = exportedFunction<CreatePluginFunction>(_module, "CreatePlugin");
    if (!create || !exportedFunction<ReleasePluginFunction>(_module, "ReleasePlugin")) {
        error = _path + ": is no camera plugin: it does not export CreatePlugin and ReleasePlugin";
        return false;
    }
    const std::int32_t status = create(&_plugin, _module);
    if (status == 0 && _plugin) return true;
    error = _path + ": CreatePlugin gave no plugin object (status " + std::to_string(status) + ")";
    _plugin = nullptr;
    return false;
}

std::string pluginPathOf(const std::string& program) {
    const std::string folder = program.substr(0, program.find_last_of("\\/") + 1);
    const std::string beside = folder + DORVEN_PLUGIN_FILE;
    const std::string installed = folder + DORVEN_PLUGIN_FROM_PROGRAM + DORVEN_PLUGIN_FILE;
    const bool useInstalled = _access(beside.c_str(), 0) != 0 && _access(installed.c_str(), 0) == 0;
    return useInstalled ? installed : beside;
}

std::string defaultPluginPath() {
    char name[4096] = {};
    GetModuleFileNameA(nullptr, name, sizeof name - 1);
    return pluginPathOf(name);
}

}  // namespace host
