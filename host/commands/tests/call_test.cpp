#include "call.h"

#include <cmath>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "plugin_library.h"
#include "scripted_device.h"

namespace {

using testing::HasSubstr;

class CallTest : public testing::Test {
protected:
    int call(std::int32_t id, const host::ValueText& value = std::nullopt) {
        _options.id = id;
        _options.value = value;
        _data.str("");
        _people.str("");
        return host::callCommand(_device, _options, _data, _people);
    }
    nlohmann::json json() const { return nlohmann::json::parse(_data.str()); }

    test::ScriptedDevice _device{[](test::ScriptedDevice&) {}};
    host::CallOptions _options;
    std::ostringstream _data, _people;
};

TEST_F(CallTest, PeopleSeeStatusAndValue) {
    EXPECT_EQ(call(1107), host::kExitDone);
    EXPECT_EQ(_data.str(), "command  1107 frameRate\nstatus   (0, 1) done\nresult   double 200\n");
    EXPECT_EQ(_people.str(), "");
}

TEST_F(CallTest, PeopleSeeTheFieldsOfAStructure) {
    _device.record.width = 640;
    EXPECT_EQ(call(1011), host::kExitDone);
    EXPECT_THAT(_data.str(), HasSubstr("\nresult   IMAGEMEMORY*\n  address 0x"));
    EXPECT_THAT(_data.str(), HasSubstr("\n  width 640\n  height 0\n"));
}

TEST_F(CallTest, CommandWithoutResultShowsItsStatusAlone) {
    EXPECT_EQ(call(1006), host::kExitDone);
    EXPECT_EQ(_data.str(), "command  1006 removeImageCallback\nstatus   (0, 1) done\n");
}

TEST_F(CallTest, RefusalEndsWithOne) {
    EXPECT_EQ(call(1109), host::kExitFailed);
    EXPECT_EQ(_data.str(),
              "command  1109 triggerMode\nstatus   (-4, 0) not supported or failed\nresult   TRIGGERMODE, left as it "
              "was\n");
}

TEST_F(CallTest, UnknownIdIsAnsweredByTheDevice) {
    EXPECT_EQ(call(999, "5"), host::kExitFailed);
    EXPECT_EQ(_data.str(), "command  999 (unknown to the device)\nstatus   (-4, 0) not supported or failed\n");
    _options.json = true;
    call(999);
    EXPECT_EQ(_data.str(),
              "{\"schema\":\"dorven-call/"
              "1\",\"id\":999,\"operation\":null,\"known\":false,\"parameter\":null,\"result\":null,"
              "\"code\":-4,\"valid\":0,\"wrote_value\":false}\n");
}

TEST_F(CallTest, JsonIsOneFlatObject) {
    _options.json = true;
    EXPECT_EQ(call(1107), host::kExitDone);
    EXPECT_EQ(
        _data.str(),
        "{\"schema\":\"dorven-call/1\",\"id\":1107,\"operation\":\"frameRate\",\"known\":true,\"parameter\":\"none\","
        "\"result\":\"double\",\"code\":0,\"valid\":1,\"wrote_value\":true,\"value\":200.0}\n");
    EXPECT_EQ(_people.str(), "");
    call(1011);
    EXPECT_EQ(json()["value_width"], 0);
    EXPECT_TRUE(json()["value_image_buffer"].is_null());
    EXPECT_TRUE(json()["value_address"].is_string());
    call(1109);
    EXPECT_FALSE(json().contains("value"));
    EXPECT_EQ(json()["wrote_value"], false);
}

TEST_F(CallTest, NumbersThatJsonDoesNotHaveAreTexts) {
    struct Device : NUV::PluginDeviceBase {
        Device() : PluginDeviceBase("") {}
        NUV::PluginCallStatus frameRate(double* rate) override {
            *rate = value;
            return NUV::kDone;
        }
        double value = 0.0;
    } device;
    _options.json = true;
    _options.id = 1107;
    for (const auto& [number, text] : {std::pair(std::nan(""), "nan"), std::pair(-HUGE_VAL, "-inf")}) {
        device.value = number;
        _data.str("");
        host::callCommand(device, _options, _data, _people);
        EXPECT_EQ(json()["value"], text);
    }
}

TEST_F(CallTest, OpensBeforehandWhenAskedTo) {
    call(1107);
    EXPECT_EQ(_device.openedPath, "");
    _options.open = true;
    call(1107);
    EXPECT_EQ(_device.openedPath, "(null)");
    _options.configFile = "camera.ini";
    call(1107);
    EXPECT_EQ(_device.openedPath, "camera.ini");
}

TEST_F(CallTest, DeviceThatCannotBeOpenedIsNotSentTheCommand) {
    _options.open = true;
    _device.openStatus = NUV::kNotSupported;
    EXPECT_EQ(call(1006), host::kExitFailed);
    EXPECT_EQ(_people.str(),
              "dorven-host: the device could not be opened: command 1001 answered (-4, 0) not supported or failed\n");
    EXPECT_EQ(_device.callbacksRemoved, 0);
}

class CallPluginTest : public CallTest {
protected:
    void SetUp() override {
        std::string error;
        _library = host::PluginLibrary::load(host::defaultPluginPath(), error);
        ASSERT_TRUE(_library) << error;
        _camera = _library->firstDevice(error);
        ASSERT_TRUE(_camera) << error;
    }
    std::unique_ptr<host::PluginLibrary> _library;
    NUV::PluginDeviceBase* _camera = nullptr;
};

TEST_F(CallPluginTest, ReachesThePluginsFirstDevice) {
    _options.id = 1208;
    EXPECT_EQ(host::callCommand(*_camera, _options, _data, _people), host::kExitDone);
    EXPECT_THAT(_data.str(), HasSubstr("result   uint64 1\n"));
}

TEST_F(CallPluginTest, EveryCommandOfTheOpenedCameraIsTakenWithoutComplaintAboutItsType) {
    _options.open = true;
    for (const auto& command : host::deviceCommands()) {
        _options.id = command.id;
        _options.value = command.neutral();
        host::callCommand(*_camera, _options, _data, _people);
    }
    EXPECT_THAT(_data.str(), testing::Not(HasSubstr("(-1, 0)")));
}

}  // namespace
