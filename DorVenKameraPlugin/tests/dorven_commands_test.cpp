// Every command of the simulated camera, opened and before it is opened.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "command_suite.h"
#include "log_recorder.h"

using namespace NUV;

namespace test {
namespace {

/// Which commands the opened camera accepts, and which of them write a value.
Expected ofOpenedCamera(std::int32_t id) {
    if (isDocumentCommand(id)) return {kDone, true};
    switch (id) {
        case 1001:
        case 1008:
        case 1009:
        case 1010:
        case 1011:
        case 1013:
        case 1014:
        case 1015:
        case 1107:
        case 1208:
            return {kDone, true};
        case 1002:
        case 1005:
        case 1006:
        case 1007:
        case 1101:
        case 1102:
        case 1103:
        case 1104:
        case 1105:
        case 1106:
        case 1110:
        case 1111:
        case 1112:
        case 1113:
        case 1201:
        case 1202:
        case 1203:
        case 1204:
            return {kDone, false};
        default:
            return {kNotSupported, false};
    }
}

/// Before it is opened, operations of the image source are refused.
Expected ofClosedCamera(std::int32_t id) {
    const bool needsSource = (id >= 1002 && id <= 1015 && id != 1012) || id == 1106 || id == 1107;
    return needsSource ? Expected{kNotSupported, false} : ofOpenedCamera(id);
}

/// A camera whose log does not appear in the test's output.
std::shared_ptr<PluginDeviceBase> camera(bool opened) {
    struct Quiet {
        LogRecorder recorder;
        DorVenPlugin device{"folder"};
    };
    const auto quiet = std::make_shared<Quiet>();
    if (opened) quiet->device.call(1001, nullptr, nullptr);
    return {quiet, &quiet->device};
}

INSTANTIATE_TEST_SUITE_P(AllCommands, CommandSuite,
                         testing::Values(SuiteDevice{"OpenedCamera", [] { return camera(true); }, ofOpenedCamera},
                                         SuiteDevice{"ClosedCamera", [] { return camera(false); }, ofClosedCamera}));

}  // namespace
}  // namespace test

namespace {

using testing::ElementsAre;

std::string assertionText(const char* file, int line) {
    return std::string("Assertion failed: '_teskImages', file ") + file + ", line " + std::to_string(line) +
           ": invalid plugin";
}

TEST(ClosedCamera, ReportsEachOperationWithItsLine) {
    // clang-format off
    const std::pair<std::int32_t, int> imageLines[] = {
        {1002, 57 },
        {1003, 66 },
        {1004, 66 },
        {1005, 75 },
        {1006, 89 },
        {1015, 97 },
        {1009, 105},
        {1011, 113},
        {1010, 121},
        {1013, 129},
        {1014, 139},
        {1007, 170},
        {1008, 182}
    };
    // clang-format on
    test::LogRecorder log;
    DorVenPlugin device("");
    const auto expectReport = [&](std::int32_t id, const std::string& text) {
        SCOPED_TRACE(id);
        log.clear();
        for (const test::CommandRow& command : test::commandRows()) {
            if (command.id != id) continue;
            const auto outcome = command.send(device, id, test::Parameter::right, test::Result::right);
            EXPECT_EQ(outcome.returned, kNotSupported);
            EXPECT_TRUE(outcome.valueKept);
        }
        ASSERT_THAT(log.errors(), ElementsAre(text));
        const test::LogEntry entry = log.entries(LogSink::errorLog).at(0);
        EXPECT_EQ(entry.file, "mutil/src/massert");
        EXPECT_EQ(entry.line, 61);
    };
    for (const auto& [id, line] : imageLines) expectReport(id, assertionText("DorVenPluginQImage", line));
    expectReport(1106, assertionText("DorVenPluginQCamCtrl", 64));
    expectReport(1107, assertionText("DorVenPluginQCamCtrl", 72));
}

TEST(Camera, SupportsImageCameraControlAndLight) {
    DorVenPlugin device("");
    EXPECT_TRUE(device.imageSupported() && device.cameraControlSupported() && device.lightSupported());
    EXPECT_FALSE(device.motorSupported() || device.ioPortSupported() || device.sensorSupported());
}

TEST(Camera, CarriesItsProperties) {
    DorVenPlugin device("");
    EXPECT_STREQ(device.getProperty(kManufacturer), "DorVen");
    EXPECT_STREQ(device.getProperty(kDeviceName), "DorVenCam");
    EXPECT_STREQ(device.getProperty(kSerialNumber), "20250313");
    EXPECT_EQ(device.getProperty(kProductVersion), nullptr);
}

TEST(Camera, DocumentNamesMakerDeviceAndSerialNumber) {
    DorVenPlugin device("");
    PluginInterfaceReturn<const char*> result({9, 9}, nullptr);
    ASSERT_EQ(device.call(1012, nullptr, &result), kDone);
    const std::string text = result.value;
    const std::size_t maker = text.find("key=\"manufacturer\" value=\"DorVen\"");
    const std::size_t name = text.find("key=\"devicename\" value=\"DorVenCam\"");
    const std::size_t serial = text.find("key=\"serialnumber\" value=\"20250313\"");
    EXPECT_LT(maker, name);
    EXPECT_LT(name, serial);
    EXPECT_NE(serial, std::string::npos);
}

TEST(Camera, LightIsOne) {
    DorVenPlugin device("");
    PluginInterfaceReturn<std::uint64_t> result({9, 9}, 0);
    EXPECT_EQ(device.call(1208, nullptr, &result), kDone);
    EXPECT_EQ(result.value, 1u);
}

TEST(Camera, TracesItsConstructionAndDestruction) {
    test::LogRecorder log;
    { DorVenPlugin device(""); }
    const auto entries = log.entries(LogSink::trace);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].text, "NUV::DorVenPlugin::DorVenPlugin");
    EXPECT_EQ(entries[0].file, "DorVenPlugin");
    EXPECT_EQ(entries[0].line, 31);
    EXPECT_EQ(entries[0].channel, "default");
    EXPECT_EQ(entries[0].level, 4);
    EXPECT_EQ(entries[1].text, "NUV::DorVenPlugin::~DorVenPlugin");
    EXPECT_EQ(entries[1].line, 41);
}

TEST(Camera, TracesNothingBelowLevelFour) {
    test::LogRecorder log(3);
    { DorVenPlugin device(""); }
    EXPECT_THAT(log.traces(), ElementsAre());
}

}  // namespace
