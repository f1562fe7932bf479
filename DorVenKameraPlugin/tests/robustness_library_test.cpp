// Loading and unloading the built library many times, compared with an empty one of the same build.
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PluginBase.h"
#include "child_process.h"
#include "log_recorder.h"
#include "robustness_process_counts.h"

namespace {

using namespace NUV;
using test::ProcessCounts;

constexpr int kWarmUps = 5;
constexpr int kCycles = 200;

HMODULE load(const std::string& stem) {
    const std::string path = test::programFolder() + stem + LIBRARY_SUFFIX;
    const HMODULE module = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) throw std::runtime_error("cannot load " + path);
    return module;
}

template <typename Function>
Function exported(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

/// What a host keeps loaded all the time, so that only the plugin is loaded and unloaded.
void holdHostLibraries() {
    for (const char* stem : {"trace", "errorlog", "errortrace", "NUV_Base"}) load(stem);
}

void usePlugin() {
    const HMODULE module = load("DorVenKameraPlugin");
    PluginInterface* plugin = nullptr;
    ASSERT_EQ(exported<std::int32_t (*)(PluginInterface**, HMODULE)>(module, "CreatePlugin")(&plugin, module), 0);
    PluginDeviceRecord record{};
    ASSERT_EQ(plugin->enumerate(&record), 1);
    auto* device = static_cast<PluginBase*>(plugin)->device(0);
    ASSERT_EQ(device->call(1001, nullptr, nullptr), kDone);
    ASSERT_EQ(device->call(1002, nullptr, nullptr), kDone);
    ASSERT_EQ(exported<std::int32_t (*)(PluginInterface**)>(module, "ReleasePlugin")(&plugin), 0);
    ASSERT_NE(FreeLibrary(module), FALSE);
}

void useEmptyModule() {
    const HMODULE module = load("dorven_empty_module");
    ASSERT_EQ(exported<int (*)()>(module, "useRuntime")(), 42);
    ASSERT_NE(FreeLibrary(module), FALSE);
}

ProcessCounts heldAfterCycles(void (*cycle)()) {
    for (int i = 0; i < kWarmUps; ++i) cycle();
    const ProcessCounts before = ProcessCounts::now();
    for (int i = 0; i < kCycles; ++i) cycle();
    return ProcessCounts::now() - before;
}

TEST(TwoHundredLoads, LeaveNoMoreThanThoseOfAnEmptyModule) {
    test::LogRecorder log(0);
    holdHostLibraries();
    const ProcessCounts ofEmpty = heldAfterCycles(&useEmptyModule);
    const ProcessCounts ofPlugin = heldAfterCycles(&usePlugin);
    RecordProperty("empty_module_handles", static_cast<int>(ofEmpty.handles));
    RecordProperty("plugin_handles", static_cast<int>(ofPlugin.handles));
    const ProcessCounts more = ofPlugin - ofEmpty;
    EXPECT_LT(more.handles, 10) << ofPlugin << "; empty module: " << ofEmpty;
    EXPECT_LT(more.tlsIndices, 10) << ofPlugin << "; empty module: " << ofEmpty;
    EXPECT_LT(more.threads, 2) << ofPlugin << "; empty module: " << ofEmpty;
    EXPECT_LT(more.mappings, 10) << ofPlugin << "; empty module: " << ofEmpty;
}

}  // namespace
