#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PluginBase.h"
#include "platform_fault.h"

PLATFORM_FAULT(DWORD, GetModuleFileNameA, (HMODULE module, LPSTR fileName, DWORD size), (module, fileName, size))

namespace {

using namespace NUV;
using testing::ElementsAre;

class ImageOnlyDevice : public PluginDeviceBase {
public:
    using PluginDeviceBase::PluginDeviceBase;
    ~ImageOnlyDevice() override {
        if (destroyed) destroyed->push_back(deviceNumber());
    }
    bool imageSupported() override { return true; }

    std::vector<std::int32_t>* destroyed = nullptr;
};

/// A plugin with the devices of a test.
class GivenPlugin : public PluginBase {
public:
    explicit GivenPlugin(HMODULE module = nullptr) : PluginBase(module) {}
    void createDevices(HMODULE module, const char* folder) override {
        ++asked;
        moduleAsked = module;
        folderAsked = folder;
        if (throwOnce) {
            throwOnce = false;
            throw std::runtime_error("createDevices");
        }
        for (auto& device : given) addDevice(std::move(device));
    }

    std::vector<std::unique_ptr<PluginDeviceBase>> given;
    int asked = 0;
    bool throwOnce = false;
    HMODULE moduleAsked = nullptr;
    std::string folderAsked;
};

/// A record filled with a pattern, so that every write shows.
struct PatternRecord {
    PluginDeviceRecord record;
    std::uint64_t behind = 0x5A5A5A5A5A5A5A5Au;
    PatternRecord() {
        record.deviceId = "pattern";
        record.interfaceKind = 77;
        record.typeCode = 77;
        record.number = 77;
        std::memset(record.label, 0xFF, sizeof record.label);
    }
    bool untouched() const {
        const PatternRecord fresh;
        return record.deviceId == "pattern" && record.interfaceKind == 77 && record.typeCode == 77 &&
               record.number == 77 && std::memcmp(record.label, fresh.record.label, sizeof record.label) == 0;
    }
};

test::Fault<decltype(fault_GetModuleFileNameA)> moduleFile(const std::string& name) {
    return {fault_GetModuleFileNameA, [name](HMODULE, LPSTR fileName, DWORD size) -> DWORD {
                const std::size_t count = std::min<std::size_t>(name.size() + 1, size);
                std::memcpy(fileName, name.c_str(), count);
                return static_cast<DWORD>(std::min<std::size_t>(name.size(), size));
            }};
}

TEST(ModuleFolder, EndsBehindTheLastBackslash) {
    const auto fault = moduleFile("C:\\a\\b\\plugin.dll");
    EXPECT_STREQ(GivenPlugin().moduleFolder(), "C:\\a\\b\\");
}

TEST(ModuleFolder, IsTheWholeNameWithoutABackslash) {
    const auto fault = moduleFile("/a/b/plugin.so");
    EXPECT_STREQ(GivenPlugin().moduleFolder(), "/a/b/plugin.so");
}

TEST(ModuleFolder, IsEmptyWhenTheNameIsUnknown) {
    const test::Fault fault(fault_GetModuleFileNameA, [](HMODULE, LPSTR, DWORD) -> DWORD { return 0; });
    EXPECT_STREQ(GivenPlugin().moduleFolder(), "");
}

TEST(ModuleFolder, IsTerminatedWhenTheNameDoesNotFit) {
    const auto fault = moduleFile(std::string(400, 'x'));
    EXPECT_EQ(GivenPlugin().moduleFolder(), std::string(259, 'x'));
}

TEST(ModuleFolder, IsHandedToCreateDevicesWithTheModule) {
    const auto fault = moduleFile("C:\\a\\plugin.dll");
    const auto module = reinterpret_cast<HMODULE>(std::uintptr_t{0x1000});
    GivenPlugin plugin(module);
    PluginDeviceRecord record{};
    plugin.enumerate(&record);
    EXPECT_EQ(plugin.folderAsked, "C:\\a\\");
    EXPECT_EQ(plugin.moduleAsked, module);
}

TEST(Enumeration, CreatesDevicesAtTheFirstCallOnly) {
    GivenPlugin plugin;
    EXPECT_EQ(plugin.asked, 0);
    PatternRecord pattern;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(plugin.enumerate(&pattern.record), 0);
    EXPECT_EQ(plugin.asked, 1);
    EXPECT_TRUE(pattern.untouched());
}

TEST(Enumeration, WithoutARecordAnswersZeroAndStaysWhereItIs) {
    GivenPlugin plugin;
    plugin.given.push_back(std::make_unique<ImageOnlyDevice>(""));
    EXPECT_EQ(plugin.enumerate(nullptr), 0);
    EXPECT_EQ(plugin.asked, 0);
    PatternRecord pattern;
    EXPECT_EQ(plugin.enumerate(&pattern.record), 1);
}

TEST(Enumeration, AsksAgainAfterACreationThatThrew) {
    GivenPlugin plugin;
    plugin.throwOnce = true;
    PatternRecord pattern;
    EXPECT_THROW(plugin.enumerate(&pattern.record), std::runtime_error);
    plugin.given.push_back(std::make_unique<ImageOnlyDevice>(""));
    EXPECT_EQ(plugin.enumerate(&pattern.record), 1);
    EXPECT_EQ(plugin.asked, 2);
}

TEST(Enumeration, FillsEveryFieldOfTheRecord) {
    GivenPlugin plugin;
    plugin.given.push_back(std::make_unique<ImageOnlyDevice>(L"label", 5, 6, ""));
    PatternRecord pattern;
    ASSERT_EQ(plugin.enumerate(&pattern.record), 1);
    EXPECT_EQ(pattern.record.deviceId, plugin.device(0)->deviceId());
    EXPECT_EQ(pattern.record.interfaceKind, 1u);
    EXPECT_EQ(pattern.record.typeCode, 5);
    EXPECT_EQ(pattern.record.number, 6);
    wchar_t expected[40] = L"label";
    EXPECT_EQ(std::memcmp(pattern.record.label, expected, sizeof expected), 0);
}

TEST(Enumeration, CutsALongLabelInsideItsField) {
    GivenPlugin plugin;
    plugin.given.push_back(std::make_unique<ImageOnlyDevice>(std::wstring(45, L'x').c_str(), 5, 6, ""));
    PatternRecord pattern;
    ASSERT_EQ(plugin.enumerate(&pattern.record), 1);
    EXPECT_EQ(std::wstring(pattern.record.label, 40), std::wstring(40, L'x'));
    EXPECT_EQ(pattern.behind, 0x5A5A5A5A5A5A5A5Au);
}

TEST(Enumeration, GoesFromDeviceToDeviceWithAZeroBetween) {
    GivenPlugin plugin;
    for (const std::int32_t number : {1, 2})
        plugin.given.push_back(std::make_unique<ImageOnlyDevice>(L"", 8, number, ""));
    std::vector<std::int32_t> seen;
    for (int i = 0; i < 6; ++i) {
        PluginDeviceRecord record{};
        seen.push_back(plugin.enumerate(&record) ? record.number : 0);
    }
    EXPECT_THAT(seen, ElementsAre(1, 0, 2, 0, 0, 0));
    EXPECT_EQ(plugin.deviceCount(), 2u);
}

TEST(Devices, NullIsIgnored) {
    GivenPlugin plugin;
    plugin.addDevice(nullptr);
    EXPECT_EQ(plugin.deviceCount(), 0u);
    EXPECT_EQ(plugin.device(0), nullptr);
}

TEST(Devices, AreDestroyedInTheOrderOfTheirCreation) {
    std::vector<std::int32_t> destroyed;
    {
        GivenPlugin plugin;
        for (const std::int32_t number : {1, 2, 3}) {
            auto device = std::make_unique<ImageOnlyDevice>(L"", 8, number, "");
            device->destroyed = &destroyed;
            plugin.addDevice(std::move(device));
        }
    }
    EXPECT_THAT(destroyed, ElementsAre(1, 2, 3));
}

TEST(Devices, OfAPlainPluginAreNone) {
    PluginBase plugin(nullptr);
    PatternRecord pattern;
    EXPECT_EQ(plugin.enumerate(&pattern.record), 0);
    EXPECT_EQ(plugin.deviceCount(), 0u);
}

}  // namespace
