#include <regex>

#include <gtest/gtest.h>

#include "PluginDeviceBase.h"
#include "platform_fault.h"

PLATFORM_FAULT(RPC_STATUS, UuidCreateSequential, (UUID * uuid), (uuid))
PLATFORM_FAULT(RPC_STATUS, UuidCreate, (UUID * uuid), (uuid))
PLATFORM_FAULT(RPC_STATUS, UuidToStringA, (const UUID* uuid, RPC_CSTR* text), (uuid, text))
PLATFORM_FAULT(RPC_STATUS, RpcStringFreeA, (RPC_CSTR * text), (text))

namespace {

using namespace NUV;

constexpr RPC_STATUS kNoAddress = 1739;

bool hasTheForm(const std::string& id) {
    return std::regex_match(id, std::regex("8-0-[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"));
}

TEST(DeviceIdentity, AnIdentityThatIsOnlyLocalWillDo) {
    const test::Fault fault(fault_UuidCreateSequential, [](UUID* uuid) -> RPC_STATUS {
        *uuid = UUID{};
        return RPC_S_UUID_LOCAL_ONLY;
    });
    int freed = 0;
    const test::Fault count(fault_RpcStringFreeA, [&](RPC_CSTR* text) {
        ++freed;
        return real_RpcStringFreeA(text);
    });
    EXPECT_EQ(PluginDeviceBase("").deviceId(), "8-0-00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(freed, 1);
}

TEST(DeviceIdentity, IsARandomOneWhereNoSequentialOneCanBeHad) {
    const test::Fault fault(fault_UuidCreateSequential, [](UUID*) -> RPC_STATUS { return kNoAddress; });
    const PluginDeviceBase first(""), second("");
    EXPECT_EQ(first.deviceId().size(), sizeof "8-0-00000000-0000-0000-0000-000000000000" - 1);
    EXPECT_NE(first.deviceId(), "8-0-00000000-0000-0000-0000-000000000000");
    EXPECT_NE(first.deviceId(), second.deviceId());
}

TEST(DeviceIdentity, TextOfTheIdentityIsFreedOnce) {
    int count = 0;
    const test::Fault fault(fault_RpcStringFreeA, [&](RPC_CSTR* text) {
        ++count;
        return real_RpcStringFreeA(text);
    });
    PluginDeviceBase device("");
    EXPECT_EQ(count, 1);
    device.remakeDeviceId();
    EXPECT_EQ(count, 2);
}

TEST(DeviceIdentity, DiffersAndKeepsItsFormWhenTheSystemGivesNoText) {
    const test::Fault fault(fault_UuidToStringA, [](const UUID*, RPC_CSTR*) -> RPC_STATUS { return 14; });
    const PluginDeviceBase first(""), second("");
    EXPECT_NE(first.deviceId(), second.deviceId());
    EXPECT_TRUE(hasTheForm(first.deviceId())) << first.deviceId();
}

TEST(DeviceIdentity, DiffersWhenTheSystemGivesNoIdentityAtAll) {
    const test::Fault sequential(fault_UuidCreateSequential, [](UUID*) -> RPC_STATUS { return kNoAddress; });
    const test::Fault random(fault_UuidCreate, [](UUID*) -> RPC_STATUS { return kNoAddress; });
    const PluginDeviceBase first(""), second("");
    EXPECT_NE(first.deviceId(), second.deviceId());
    EXPECT_TRUE(hasTheForm(first.deviceId())) << first.deviceId();
}

}  // namespace
