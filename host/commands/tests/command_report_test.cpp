#include "command_report.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host_options.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Records the commands that change it, in order.
class NotingDevice : public NUV::PluginDeviceBase {
public:
    NotingDevice() : PluginDeviceBase("folder") {}

    NUV::PluginCallStatus openImageDevice(const char*, const tagBITMAPINFO**) override {
        noted.push_back("open");
        return openStatus;
    }
    NUV::PluginCallStatus grab() override { return note("grab"); }
    NUV::PluginCallStatus stop() override { return note("stop"); }
    NUV::PluginCallStatus freeze() override { return note("freeze"); }
    NUV::PluginCallStatus setFrameRate(double rate) override { return note("rate " + std::to_string(rate)); }
    NUV::PluginCallStatus frameRate(double* rate) override {
        *rate = 25.0;
        return rateStatus;
    }
    NUV::PluginCallStatus setCameraControl1102(double value) override { return note("1102 " + std::to_string(value)); }
    NUV::PluginCallStatus cameraControl1103(double*) override { return NUV::kDone; }
    NUV::PluginCallStatus motor1501() override { return note("motor"); }
    NUV::PluginCallStatus ioPort1401() override { return note("port"); }

    NUV::PluginCallStatus note(std::string what) {
        noted.push_back(std::move(what));
        return NUV::kDone;
    }

    std::vector<std::string> noted;
    NUV::PluginCallStatus openStatus = NUV::kDone;
    NUV::PluginCallStatus rateStatus = NUV::kDone;
};

const host::CommandReportRow& rowOf(const std::vector<host::CommandReportRow>& rows, std::int32_t id) {
    for (const auto& row : rows) {
        if (row.id == id) return row;
    }
    throw std::out_of_range(std::to_string(id));
}

TEST(AskEveryCommand, GrabsLastAndLeavesNothingRunning) {
    NotingDevice device;
    host::askEveryCommand(device, {1, 2});
    EXPECT_THAT(device.noted, ElementsAre("1102 0.000000", "rate 25.000000", "port", "motor", "grab", "stop", "freeze",
                                          "open", "1102 0.000000", "rate 25.000000", "port", "motor", "grab", "stop",
                                          "grab", "freeze", "open"));
}

TEST(AskEveryCommand, HasARowForEachCommandOfTheDevice) {
    NotingDevice device;
    const auto rows = host::askEveryCommand(device, {});
    ASSERT_EQ(rows.size(), 111u);
    EXPECT_EQ(rows.front().id, 1001);
    EXPECT_EQ(rows.back().id, 1538);
    for (const auto& row : rows) {
        EXPECT_EQ(row.command, host::findDeviceCommand(row.id));
        EXPECT_TRUE(row.closed.has_value()) << row.id;
        EXPECT_TRUE(row.opened.has_value()) << row.id;
    }
    EXPECT_EQ(rowOf(rows, 1106).opened, NUV::kDone);
    EXPECT_EQ(rowOf(rows, 1108).opened, NUV::kNotSupported);
}

TEST(AskEveryCommand, DoesNotMoveMotorsOrSwitchPortsThatThereAre) {
    NotingDevice device;
    const auto rows = host::askEveryCommand(device, {1, 5, 6});
    EXPECT_THAT(device.noted, Not(testing::Contains("motor")));
    EXPECT_THAT(device.noted, Not(testing::Contains("port")));
    EXPECT_FALSE(rowOf(rows, 1501).closed.has_value());
    EXPECT_FALSE(rowOf(rows, 1401).opened.has_value());
    EXPECT_TRUE(rowOf(rows, 1301).opened.has_value());
}

TEST(AskEveryCommand, StopsWhenTheDeviceCannotBeOpened) {
    NotingDevice device;
    device.openStatus = NUV::kNotSupported;
    const auto rows = host::askEveryCommand(device, {});
    EXPECT_EQ(rowOf(rows, 1001).closed, NUV::kNotSupported);
    EXPECT_FALSE(rowOf(rows, 1107).opened.has_value());
    EXPECT_EQ(device.noted.back(), "open");
}

class ShowCommandsTest : public testing::Test {
protected:
    void SetUp() override {
        std::string error;
        _library = host::PluginLibrary::load(host::defaultPluginPath(), error);
        ASSERT_TRUE(_library) << error;
    }
    std::unique_ptr<host::PluginLibrary> _library;
    std::ostringstream _data, _people;
};

TEST_F(ShowCommandsTest, PeopleSeeATable) {
    EXPECT_EQ(showCommands(*_library, false, _data, _people), host::kExitDone);
    EXPECT_EQ(_people.str(), "");
    for (const char* line : {
             "id    operation                       parameter                       result                          "
             "closed    opened\n",
             "1001  openImageDevice                 const char*                     tagBITMAPINFO                   "
             "(0, 1)    (0, 1)\n",
             "1003  stop                            none                            none                            "
             "(-4, 0)   (-4, 0)\n",
             "1004  freeze                          none                            none                            "
             "(-4, 0)   (0, 1)\n",
             "1212  lightTrigger                    uint64                          PluginInterfaceLightTriggerData "
             "(-4, 0)   (-4, 0)\n",
             "\n111 commands\n",
         })
        EXPECT_THAT(_data.str(), HasSubstr(line));
}

TEST_F(ShowCommandsTest, JsonListsTheCommands) {
    EXPECT_EQ(showCommands(*_library, true, _data, _people), host::kExitDone);
    EXPECT_EQ(_people.str(), "");
    const auto object = nlohmann::json::parse(_data.str());
    EXPECT_EQ(object["schema"], "dorven-commands/1");
    EXPECT_EQ(object["module"], _library->path());
    ASSERT_EQ(object["commands"].size(), 111u);
    EXPECT_EQ(object["commands"][1], nlohmann::json::parse(R"({"id":1002,"operation":"grab","parameter":"none",
              "result":"none","closed_code":-4,"closed_valid":0,"opened_code":0,"opened_valid":1})"));
}

TEST_F(ShowCommandsTest, DeviceStaysUsable) {
    showCommands(*_library, true, _data, _people);
    EXPECT_EQ(_library->device(0)->call(1002, nullptr, nullptr), NUV::kDone);
    EXPECT_EQ(_library->device(0)->call(1004, nullptr, nullptr), NUV::kDone);
}

}  // namespace
