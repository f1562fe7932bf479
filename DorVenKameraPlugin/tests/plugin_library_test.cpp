// The built library, as a host loads it.
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PluginBase.h"
#include "child_process.h"
#include "log_recorder.h"
#include "received_images.h"
#include "temporary_folder.h"

// What a module keeps until the process ends looks like a leak once the module is unloaded. So the programs that link
// the plugin's parts look for leaks, and this one does not.
extern "C" int __lsan_is_turned_off() { return 1; }

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using CreateFunction = std::int32_t (*)(PluginInterface**, HMODULE);
using ReleaseFunction = std::int32_t (*)(PluginInterface**);

std::string inBin(const std::string& stem) { return test::programFolder() + stem + LIBRARY_SUFFIX; }

class Library {
public:
    explicit Library(const std::string& path = inBin("DorVenKameraPlugin"))
        : module(LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {
        if (!module) throw std::runtime_error("cannot load " + path);
        create = reinterpret_cast<CreateFunction>(reinterpret_cast<void*>(GetProcAddress(module, "CreatePlugin")));
        release = reinterpret_cast<ReleaseFunction>(reinterpret_cast<void*>(GetProcAddress(module, "ReleasePlugin")));
    }
    ~Library() { FreeLibrary(module); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    HMODULE module;
    CreateFunction create;
    ReleaseFunction release;
};

class PluginLibraryTest : public testing::Test {
protected:
    PluginInterface* createPlugin() {
        PluginInterface* plugin = nullptr;
        EXPECT_EQ(_library.create(&plugin, _library.module), 0);
        return plugin;
    }
    /// The kinds of all records; each is checked against the plugin's device.
    std::vector<std::uint32_t> enumerate(PluginInterface* plugin) {
        std::vector<std::uint32_t> kinds;
        PluginDeviceRecord record{};
        while (plugin->enumerate(&record)) {
            kinds.push_back(record.interfaceKind);
            EXPECT_EQ(record.deviceId, deviceOf(plugin)->deviceId());
            EXPECT_EQ(record.typeCode, 8);
            EXPECT_EQ(record.number, 0);
            EXPECT_EQ(std::wstring(record.label, 40), std::wstring(L"20250313") + std::wstring(32, L'\0'));
        }
        return kinds;
    }
    static PluginDeviceBase* deviceOf(PluginInterface* plugin) { return static_cast<PluginBase*>(plugin)->device(0); }

    test::LogRecorder _log;
    Library _library;
};

TEST_F(PluginLibraryTest, CreatesIntoAClearedSlotOnly) {
    PluginInterface* plugin = createPlugin();
    PluginInterface* const first = plugin;
    EXPECT_EQ(_library.create(&plugin, _library.module), -1);
    EXPECT_EQ(plugin, first);
    EXPECT_EQ(enumerate(plugin).size(), 3u);
    EXPECT_EQ(_library.release(&plugin), 0);
    EXPECT_EQ(plugin, first);  // the host drops its copy itself
}

TEST_F(PluginLibraryTest, InventedModuleHandleGivesAPluginWithoutFolder) {
    PluginInterface* plugin = nullptr;
    EXPECT_EQ(_library.create(&plugin, reinterpret_cast<HMODULE>(std::uintptr_t{0x1000})), 0);
    ASSERT_NE(plugin, nullptr);
    EXPECT_STREQ(static_cast<PluginBase*>(plugin)->moduleFolder(), "");
    EXPECT_EQ(enumerate(plugin).size(), 3u);
    EXPECT_EQ(_library.release(&plugin), 0);
}

TEST_F(PluginLibraryTest, EmptyAndMissingSlotsAreSurvived) {
    PluginInterface* plugin = nullptr;
    EXPECT_EQ(_library.release(&plugin), 0);
    EXPECT_EQ(_library.release(nullptr), 0);
    EXPECT_EQ(_library.create(nullptr, _library.module), -1);
}

TEST_F(PluginLibraryTest, EnumeratesThreeKindsOfOneDeviceAndThenNothing) {
    PluginInterface* plugin = createPlugin();
    EXPECT_THAT(_log.traces(), IsEmpty());
    EXPECT_EQ(static_cast<PluginBase*>(plugin)->deviceCount(), 0u);
    EXPECT_THAT(enumerate(plugin), testing::ElementsAre(1u, 2u, 3u));
    PluginDeviceRecord record{};
    record.interfaceKind = 77;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(plugin->enumerate(&record), 0);
    EXPECT_EQ(record.interfaceKind, 77u);
    EXPECT_EQ(static_cast<PluginBase*>(plugin)->deviceCount(), 1u);
    EXPECT_THAT(_log.traces(), testing::ElementsAre("NUV::DorVenPlugin::DorVenPlugin"));
    _library.release(&plugin);
}

TEST_F(PluginLibraryTest, ReleaseBeforeEnumerationMakesNoDevice) {
    PluginInterface* plugin = createPlugin();
    EXPECT_EQ(_library.release(&plugin), 0);
    EXPECT_THAT(_log.traces(), IsEmpty());
}

TEST_F(PluginLibraryTest, KnowsTheFolderItLiesIn) {
    PluginInterface* plugin = createPlugin();
    // Only backslashes count as separators.
    const std::string file = inBin("DorVenKameraPlugin");
    const std::size_t separator = file.rfind('\\');
    const std::string expected = separator == std::string::npos ? file : file.substr(0, separator + 1);
    EXPECT_STREQ(static_cast<PluginBase*>(plugin)->moduleFolder(), expected.c_str());
    enumerate(plugin);
    EXPECT_EQ(deviceOf(plugin)->moduleFolder(), expected);
    _library.release(&plugin);
}

TEST_F(PluginLibraryTest, ReleaseWhileGrabbingStopsTheImages) {
    test::ReceivedImages received;
    PluginInterface* plugin = createPlugin();
    enumerate(plugin);
    PluginDeviceBase* device = deviceOf(plugin);
    EXPECT_EQ(device->call(1001, nullptr, nullptr), kDone);
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
    EXPECT_EQ(device->call(1005, &callback, nullptr), kDone);
    EXPECT_EQ(device->call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(_library.release(&plugin), 0);
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::~TeskImages"));
}

TEST_F(PluginLibraryTest, TwoPluginObjectsAreIndependent) {
    PluginInterface* first = createPlugin();
    PluginInterface* second = createPlugin();
    enumerate(first);
    enumerate(second);
    EXPECT_NE(deviceOf(first)->deviceId(), deviceOf(second)->deviceId());
    EXPECT_EQ(deviceOf(first)->call(1001, nullptr, nullptr), kDone);
    EXPECT_EQ(deviceOf(second)->call(1011, nullptr, nullptr), kNotSupported);
    EXPECT_EQ(deviceOf(second)->call(1001, nullptr, nullptr), kDone);
    EXPECT_EQ(deviceOf(first)->call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(deviceOf(second)->call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(_library.release(&first), 0);
    EXPECT_EQ(deviceOf(second)->call(1004, nullptr, nullptr), kDone);
    EXPECT_EQ(_library.release(&second), 0);
}

TEST(PluginLibrary, IsLoadedAndFreedTwentyTimes) {
    test::LogRecorder log(0);
    for (int i = 0; i < 20; ++i) {
        Library library;
        PluginInterface* plugin = nullptr;
        ASSERT_EQ(library.create(&plugin, library.module), 0);
        PluginDeviceRecord record{};
        ASSERT_EQ(plugin->enumerate(&record), 1);
        auto* device = static_cast<PluginBase*>(plugin)->device(0);
        ASSERT_EQ(device->call(1001, nullptr, nullptr), kDone);
        ASSERT_EQ(device->call(1002, nullptr, nullptr), kDone);
        ASSERT_EQ(library.release(&plugin), 0);
    }
}

TEST(PluginLibrary, WorksFromAForeignFolderForAProgramBuiltFromHeadersAlone) {
    namespace fs = std::filesystem;
    const test::TemporaryFolder pluginFolder, programFolder;
    for (const char* stem : {"DorVenKameraPlugin", "trace", "errorlog", "errortrace", "log_core", "NUV_Base"})
        fs::copy_file(inBin(stem), pluginFolder.path(std::string(stem) + LIBRARY_SUFFIX));
    const std::string program = std::string("plugin_header_host") + PROGRAM_SUFFIX;
    fs::copy_file(test::programFolder() + program, programFolder.path(program));
    auto host = test::ChildProcess::program(programFolder.path(program),
                                            {pluginFolder.path(std::string("DorVenKameraPlugin") + LIBRARY_SUFFIX)});
    EXPECT_EQ(host.join(60s), 0);
}

}  // namespace
