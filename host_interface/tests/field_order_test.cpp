// The order of the fields that hosts know, read from live objects.
#include "field_order.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace NUV;
using test::DeviceFields;
using test::fieldsOf;
using test::PluginBaseFields;
using testing::ElementsAre;

struct ImageDevice : PluginDeviceBase {
    using PluginDeviceBase::PluginDeviceBase;
    bool imageSupported() override { return true; }
    bool lightSupported() override { return true; }
};

struct OneDevicePlugin : PluginBase {
    using PluginBase::PluginBase;
    void createDevices(HMODULE, const char*) override { addDevice(std::make_unique<ImageDevice>("")); }
};

TEST(FieldOrder, OfAPlugin) {
    const auto module = reinterpret_cast<HMODULE>(std::uintptr_t{0x1000});
    OneDevicePlugin plugin(module);
    const auto& fields = fieldsOf<PluginBaseFields>(static_cast<const PluginBase&>(plugin));
    EXPECT_EQ(fields.module, module);
    EXPECT_EQ(static_cast<const void*>(fields.moduleFolder), plugin.moduleFolder());
    EXPECT_TRUE(fields.devicesPending);
    PluginDeviceRecord record{};
    while (plugin.enumerate(&record)) continue;
    EXPECT_FALSE(fields.devicesPending);
    EXPECT_EQ(fields.cursor, 1);
    ASSERT_EQ(fields.devices.size(), 1u);
    EXPECT_EQ(fields.devices[0].get(), plugin.device(0));
}

TEST(FieldOrder, OfADevice) {
    ImageDevice device(L"label", 5, 6, "folder");
    device.setProperty(kDeviceName, "name");
    const char* document = nullptr;
    ASSERT_EQ(device.deviceInformation(&document), kDone);
    std::uint32_t kind = 0;
    ASSERT_TRUE(device.nextInterfaceKind(&kind));
    const auto& fields = fieldsOf<DeviceFields>(static_cast<const PluginDeviceBase&>(device));
    EXPECT_EQ(fields.moduleFolder, "folder");
    EXPECT_EQ(std::wstring(fields.label), L"label");
    EXPECT_EQ(fields.typeCode, 5);
    EXPECT_EQ(fields.number, 6);
    EXPECT_EQ(fields.deviceId, device.deviceId());
    EXPECT_THAT(fields.kinds, ElementsAre(1u, 3u));
    EXPECT_EQ(fields.kindCursor, 1u);
    EXPECT_EQ(static_cast<const void*>(fields.informationDocument.c_str()), document);
    EXPECT_THAT(fields.properties, ElementsAre(std::pair(1, std::string("name"))));
    EXPECT_EQ(&fields.commandMap, &device.commandMap());
}

}  // namespace
