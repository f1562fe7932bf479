#include <cctype>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PluginDeviceBase.h"

namespace {

using namespace NUV;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string document(PluginDeviceBase& device) {
    const char* text = nullptr;
    EXPECT_EQ(device.deviceInformation(&text), kDone);
    return text ? text : "";
}

/// The keys and values of the document's items, in order.
std::vector<std::string> items(PluginDeviceBase& device) {
    const std::string text = document(device);
    const auto attribute = [&](const std::string& name, std::size_t& position) {
        const std::size_t begin = text.find(name + "=\"", position) + name.size() + 2;
        position = text.find('"', begin);
        return text.substr(begin, position - begin);
    };
    std::vector<std::string> found;
    for (std::size_t position = 0; (position = text.find("<Item", position)) != std::string::npos;) {
        const std::string key = attribute("key", position);
        found.push_back(key + "=" + attribute("value", position));
    }
    return found;
}

/// A text with every lower-case hexadecimal digit replaced by 'x'.
std::string digitsAsX(std::string text) {
    for (char& character : text) {
        if (std::isdigit(static_cast<unsigned char>(character)) || (character >= 'a' && character <= 'f'))
            character = 'x';
    }
    return text;
}

TEST(DeviceIdentity, IdIsTypeNumberAndALowerCaseUuid) {
    const PluginDeviceBase device("folder");
    EXPECT_THAT(device.deviceId(), StartsWith("8-0-"));
    EXPECT_EQ(digitsAsX(device.deviceId()), "x-x-xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx");
    EXPECT_EQ(device.deviceTypeCode(), 8);
    EXPECT_EQ(device.deviceNumber(), 0);
    EXPECT_EQ(device.moduleFolder(), "folder");
    EXPECT_EQ(std::wstring(device.deviceLabel()), L"20250313");
}

TEST(DeviceIdentity, TwoDevicesHaveDifferentIds) {
    EXPECT_NE(PluginDeviceBase("").deviceId(), PluginDeviceBase("").deviceId());
}

TEST(DeviceIdentity, RemakingTheIdKeepsTypeAndNumber) {
    PluginDeviceBase device(L"label", 3, -4, "folder");
    const std::string former = device.deviceId();
    EXPECT_THAT(former, StartsWith("3--4-"));
    device.remakeDeviceId();
    EXPECT_THAT(device.deviceId(), StartsWith("3--4-"));
    EXPECT_NE(device.deviceId(), former);
}

TEST(DeviceIdentity, LabelIsCutAtFortyCharacters) {
    const std::wstring forty(40, L'a');
    const PluginDeviceBase exact(forty.c_str(), 1, 2, "");
    EXPECT_EQ(std::wstring(exact.deviceLabel(), 40), forty);
    EXPECT_EQ(exact.deviceTypeCode(), 1);  // stored after the label
    const PluginDeviceBase longer((forty + L"bbbbbbbbbbbbbbbbbbbb").c_str(), 1, 2, "");
    EXPECT_EQ(std::wstring(longer.deviceLabel(), 40), forty);
    EXPECT_EQ(longer.deviceTypeCode(), 1);
}

TEST(DeviceIdentity, NullLabelIsAnEmptyOne) {
    const PluginDeviceBase device(nullptr, 1, 2, "");
    EXPECT_EQ(std::wstring(device.deviceLabel(), 40), std::wstring(40, L'\0'));
}

TEST(DeviceProperties, AbsentOnesAreNull) {
    PluginDeviceBase device("");
    EXPECT_EQ(device.getProperty(0), nullptr);
    EXPECT_EQ(device.getProperty(-1), nullptr);
}

TEST(DeviceProperties, LastValueStays) {
    PluginDeviceBase device("");
    EXPECT_EQ(device.setProperty(kManufacturer, "A"), kDone);
    EXPECT_EQ(device.setProperty(kManufacturer, "B"), kDone);
    EXPECT_STREQ(device.getProperty(kManufacturer), "B");
    EXPECT_THAT(items(device), ElementsAre("manufacturer=B"));
}

TEST(DeviceProperties, NullTextChangesNothing) {
    PluginDeviceBase device("");
    device.setProperty(kManufacturer, "A");
    EXPECT_EQ(device.setProperty(kManufacturer, nullptr), kDone);
    EXPECT_EQ(device.setProperty(kDeviceName, nullptr), kDone);
    EXPECT_STREQ(device.getProperty(kManufacturer), "A");
    EXPECT_EQ(device.getProperty(kDeviceName), nullptr);
}

TEST(DeviceProperties, TrailingBlanksAndBytes15AreCut) {
    PluginDeviceBase device("");
    const auto stored = [&](const char* text) {
        device.setProperty(kSerialNumber, text);
        return std::string(device.getProperty(kSerialNumber));
    };
    EXPECT_EQ(stored("x  "), "x");
    EXPECT_EQ(stored("x\x15\x15"), "x");
    EXPECT_EQ(stored("x \x15 \x15"), "x");
    EXPECT_EQ(stored("  x"), "  x");
    EXPECT_EQ(stored("x\t"), "x\t");
    EXPECT_EQ(stored("x\n"), "x\n");
    EXPECT_EQ(stored("x\r"), "x\r");
    EXPECT_EQ(stored(" \x15 x"), " \x15 x");
    EXPECT_EQ(stored("   "), "");
    EXPECT_EQ(stored(""), "");
}

TEST(DeviceProperties, ClearingForgetsAllButTheLabel) {
    PluginDeviceBase device("");
    for (std::int32_t id = 0; id <= 8; ++id) device.setProperty(id, "x");
    EXPECT_EQ(device.clearProperties(), kDone);
    for (std::int32_t id = 0; id <= 8; ++id) EXPECT_EQ(device.getProperty(id), nullptr);
    EXPECT_EQ(std::wstring(device.deviceLabel()), L"20250313");
}

TEST(InformationDocument, BeginsWithItsHeader) {
    PluginDeviceBase device("");
    EXPECT_THAT(document(device), StartsWith("<?xml version=\"1.0\" encoding=\"unicode\" ?>"));
}

TEST(InformationDocument, WithoutPropertiesHoldsAnEmptyInfo) {
    PluginDeviceBase device("");
    EXPECT_THAT(document(device), HasSubstr("<Info"));
    EXPECT_THAT(items(device), ElementsAre());
}

TEST(InformationDocument, ListsPropertiesInTheirOrder) {
    PluginDeviceBase device("");
    for (std::int32_t id = 8; id >= 0; --id) device.setProperty(id, std::to_string(id).c_str());
    EXPECT_THAT(items(device),
                ElementsAre("manufacturer=0", "devicename=1", "productversion=2", "serialnumber=3", "dllversion=4",
                            "driverversion=5", "cpldversion=6", "bootloaderversion=7", "fpgaversion=8"));
}

TEST(InformationDocument, HoldsAnEmptyText) {
    PluginDeviceBase device("");
    device.setProperty(kSerialNumber, "   ");
    EXPECT_THAT(items(device), ElementsAre("serialnumber="));
}

TEST(InformationDocument, LeavesOutIdsThatHaveNoKey) {
    PluginDeviceBase device("");
    const std::string before = document(device);
    device.setProperty(42, "q");
    device.setProperty(-1, "q");
    EXPECT_STREQ(device.getProperty(42), "q");
    EXPECT_EQ(document(device), before);
}

TEST(InformationDocument, EscapesMarkup) {
    PluginDeviceBase device("");
    device.setProperty(kDeviceName, "a<b & \"c\"");
    EXPECT_THAT(document(device), HasSubstr("a&lt;b &amp; &quot;c&quot;"));
}

TEST(InformationDocument, LosesWhatWasCleared) {
    PluginDeviceBase device("");
    device.setProperty(kDeviceName, "x");
    EXPECT_THAT(items(device), ElementsAre("devicename=x"));
    device.clearProperties();
    EXPECT_THAT(items(device), ElementsAre());
}

TEST(InformationDocument, KeepsItsAddressWhileItsTextIsTheSame) {
    PluginDeviceBase device("");
    device.setProperty(kDeviceName, "a camera whose name no small buffer holds");
    const char* first = nullptr;
    const char* again = nullptr;
    ASSERT_EQ(device.deviceInformation(&first), kDone);
    const std::string text = first;
    ASSERT_EQ(device.deviceInformation(&again), kDone);
    EXPECT_EQ(again, first);
    EXPECT_EQ(text, first);
}

TEST(InformationDocument, StaysValidUntilTheNextCall) {
    PluginDeviceBase device("");
    const char* first = nullptr;
    const char* second = nullptr;
    device.imageDeviceInformation(&first);
    const std::string copy = first;
    device.lightDeviceInformation(&second);
    EXPECT_EQ(copy, second);
}

class SelectiveDevice : public PluginDeviceBase {
public:
    explicit SelectiveDevice(bool everything) : PluginDeviceBase(""), supports(everything) {}
    bool imageSupported() override { return supports; }
    bool cameraControlSupported() override { return supports; }
    bool motorSupported() override { return supports; }
    bool ioPortSupported() override { return supports; }
    bool sensorSupported() override { return supports; }
    bool lightSupported() override { return supports; }

    bool supports;
};

std::vector<std::uint32_t> kinds(PluginDeviceBase& device) {
    std::vector<std::uint32_t> found;
    std::uint32_t kind = 99;
    while (device.nextInterfaceKind(&kind)) found.push_back(kind);
    EXPECT_EQ(kind, 0u);
    return found;
}

TEST(InterfaceKinds, ComeInTheirOwnOrderAndThenNoMore) {
    SelectiveDevice device(true);
    EXPECT_THAT(kinds(device), ElementsAre(1u, 2u, 6u, 5u, 4u, 3u));
    EXPECT_THAT(kinds(device), ElementsAre());
}

TEST(InterfaceKinds, AreAskedForOnce) {
    SelectiveDevice device(true);
    std::uint32_t kind = 0;
    EXPECT_TRUE(device.nextInterfaceKind(&kind));
    device.supports = false;
    EXPECT_THAT(kinds(device), ElementsAre(2u, 6u, 5u, 4u, 3u));
}

TEST(InterfaceKinds, OfEachQueryStandForIt) {
    /// Supports only the kind that a test selects.
    class OneKind : public PluginDeviceBase {
    public:
        explicit OneKind(InterfaceKind only) : PluginDeviceBase(""), kind(only) {}
        bool imageSupported() override { return kind == InterfaceKind::image; }
        bool cameraControlSupported() override { return kind == InterfaceKind::cameraControl; }
        bool lightSupported() override { return kind == InterfaceKind::light; }
        bool sensorSupported() override { return kind == InterfaceKind::sensor1D; }
        bool ioPortSupported() override { return kind == InterfaceKind::ioPort; }
        bool motorSupported() override { return kind == InterfaceKind::motor; }
        InterfaceKind kind;
    };
    for (std::uint32_t code = 1; code <= 6; ++code) {
        OneKind device(static_cast<InterfaceKind>(code));
        EXPECT_THAT(kinds(device), ElementsAre(code));
    }
}

TEST(InterfaceKinds, ADeviceThatHadNoneAtFirstKeepsNone) {
    struct LateDevice : PluginDeviceBase {
        LateDevice() : PluginDeviceBase("") {}
        bool imageSupported() override { return late; }
        bool late = false;
    } device;
    EXPECT_THAT(kinds(device), ElementsAre());
    device.late = true;
    EXPECT_THAT(kinds(device), ElementsAre());
}

TEST(InterfaceKinds, OfABareDeviceAreNone) {
    PluginDeviceBase device("");
    EXPECT_THAT(kinds(device), ElementsAre());
    EXPECT_THAT(kinds(device), ElementsAre());
}

TEST(BareDevice, SupportsNothing) {
    PluginDeviceBase device("");
    EXPECT_FALSE(device.imageSupported() || device.cameraControlSupported() || device.motorSupported() ||
                 device.ioPortSupported() || device.sensorSupported() || device.lightSupported());
    EXPECT_EQ(device.motorSlot56(), kNotSupported);
    EXPECT_EQ(device.motorSlot57(), kNotSupported);
}

}  // namespace
