#include "device_commands.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command_rows.h"

namespace {

using host::asParameter;
using host::CommandAnswer;
using host::findDeviceCommand;
using host::ValueText;
using testing::HasSubstr;

std::string problem(std::int32_t id, const ValueText& text) { return findDeviceCommand(id)->problem(text); }

/// Records its calls, and returns values.
class AnsweringDevice : public NUV::PluginDeviceBase {
public:
    AnsweringDevice() : PluginDeviceBase("folder") {}

    NUV::PluginCallStatus openImageDevice(const char* path, const tagBITMAPINFO** bitmap) override {
        text = path ? path : "(null)";
        description.bmiHeader.biHeight = -1024;
        *bitmap = &description;
        return NUV::kDone;
    }
    NUV::PluginCallStatus setImageCallback(void*, NUV::ImageCallback function) override {
        callback = function;
        return NUV::kDone;
    }
    NUV::PluginCallStatus setClipping(std::uint64_t x, std::uint64_t y, std::uint64_t width,
                                      std::uint64_t height) override {
        clip = {x, y, width, height};
        return NUV::kDone;
    }
    NUV::PluginCallStatus clipping(std::uint64_t* x, std::uint64_t* y, std::uint64_t* width,
                                   std::uint64_t* height) override {
        *x = 1, *y = 2, *width = 3, *height = std::numeric_limits<std::uint64_t>::max();
        return NUV::kDone;
    }
    NUV::PluginCallStatus imageBuffer(char** buffer) override {
        *buffer = address;
        return NUV::kDone;
    }
    NUV::PluginCallStatus imageMemory(NUV::IMAGEMEMORY** memory) override {
        *memory = record;
        return NUV::kDone;
    }
    NUV::PluginCallStatus metaDataCaps(NUV::SmartMetaDataCaps** map) override {
        *map = caps;
        return NUV::kDone;
    }
    NUV::PluginCallStatus imageDeviceInformation(const char** document) override {
        *document = documentText;
        return NUV::kDone;
    }
    NUV::PluginCallStatus setFrameRate(double value) override {
        rate = value;
        return NUV::kDone;
    }
    NUV::PluginCallStatus frameRate(double* value) override {
        *value = rate;
        return NUV::kDone;
    }
    NUV::PluginCallStatus cameraControl1103(double*) override { return NUV::kDone; }
    NUV::PluginCallStatus setScanningMode(NUV::SCANNINGMODE value) override {
        mode = value;
        return NUV::kDone;
    }
    NUV::PluginCallStatus scanningMode(NUV::SCANNINGMODE* value) override {
        *value = mode;
        return NUV::kDone;
    }
    NUV::PluginCallStatus setSmartCameraParameter(NUV::CSmartCamParamBase* parameter) override {
        return parameter ? NUV::kNotSupported : NUV::kDone;
    }
    NUV::PluginCallStatus light1207(std::uint64_t light, std::uint64_t* value) override {
        *value = light;
        return NUV::kDone;
    }
    NUV::PluginCallStatus setLightTrigger(const NUV::PluginInterfaceLightTriggerData* data) override {
        trigger = *data;
        return NUV::kDone;
    }
    NUV::PluginCallStatus lightTrigger(std::uint64_t, NUV::PluginInterfaceLightTriggerData* data) override {
        *data = trigger;
        return NUV::kDone;
    }
    NUV::PluginCallStatus ioPort1407(const NUV::PluginInterfaceIOPort* port, unsigned char* value) override {
        *value = static_cast<unsigned char>(port->reserved[1]);
        return NUV::kDone;
    }
    NUV::PluginCallStatus ioPort1409(const NUV::PluginInterfaceIOPort*, bool* value) override {
        *value = true;
        return flagStatus;
    }
    NUV::PluginCallStatus motor1504(const NUV::PluginInterfaceMotorData* data) override {
        motor = *data;
        return NUV::kDone;
    }
    NUV::PluginCallStatus motor1538(bool value) override {
        on = value;
        return NUV::kDone;
    }

    std::string text;
    tagBITMAPINFO description{};
    NUV::ImageCallback callback = nullptr;
    NUV::PluginInterfaceClippingData clip{};
    char* address = nullptr;
    NUV::IMAGEMEMORY* record = nullptr;
    NUV::SmartMetaDataCaps* caps = nullptr;
    const char* documentText = nullptr;
    double rate = 0.0;
    NUV::SCANNINGMODE mode{};
    NUV::PluginInterfaceLightTriggerData trigger{};
    NUV::PluginInterfaceMotorData motor{};
    NUV::PluginCallStatus flagStatus = NUV::kDone;
    bool on = false;
};

class DeviceCommandsTest : public testing::Test {
protected:
    CommandAnswer send(std::int32_t id, const ValueText& text = std::nullopt) {
        EXPECT_EQ(problem(id, text), "");
        return findDeviceCommand(id)->send(_device, id, text);
    }
    /// The value of a result that consists of one value; "-" when the device left it unchanged.
    std::string value(std::int32_t id, const ValueText& text = std::nullopt) {
        const CommandAnswer answer = send(id, text);
        EXPECT_EQ(answer.status, NUV::kDone);
        if (!answer.wroteValue) return "-";
        EXPECT_EQ(answer.value.size(), 1u);
        EXPECT_EQ(answer.value.at(0).name, "");
        return answer.value.at(0).text;
    }

    AnsweringDevice _device;
};

// ---- the list

TEST_F(DeviceCommandsTest, AreTheDevicesOwnInTheirOrder) {
    std::vector<std::int32_t> listed, found;
    for (const auto& command : host::deviceCommands()) listed.push_back(command.id);
    for (const auto& entry : _device.commandMap()) found.push_back(entry.first);
    EXPECT_EQ(listed, found);
    EXPECT_EQ(listed.size(), 111u);
    EXPECT_EQ(findDeviceCommand(1000), nullptr);
    EXPECT_STREQ(findDeviceCommand(1107)->operation, "frameRate");
}

// For a parameter of the wrong type the device returns (-1, 0), and a result of the wrong type stays unchanged. So the
// device itself shows whether the host has the types right.
TEST_F(DeviceCommandsTest, HaveTheTypesOfTheDevicesAdapters) {
    for (const test::CommandRow& row : test::commandRows()) {
        SCOPED_TRACE(row.id);
        const host::DeviceCommand* command = findDeviceCommand(row.id);
        ASSERT_NE(command, nullptr);
        EXPECT_EQ(command->hasResult(), row.hasValue);
        EXPECT_EQ(command->problem(command->neutral()), "");
        EXPECT_NE(command->send(_device, row.id, command->neutral()).status, NUV::kWrongParameter);
        EXPECT_TRUE(command->takesValue() || !row.typed);
    }
}

TEST_F(DeviceCommandsTest, TellTheirTypesByName) {
    const auto types = [](std::int32_t id) {
        const host::DeviceCommand& command = *findDeviceCommand(id);
        return std::string(command.parameterType) + " / " + command.resultType;
    };
    EXPECT_EQ(types(1001), "const char* / tagBITMAPINFO");
    EXPECT_EQ(types(1002), "none / none");
    EXPECT_EQ(types(1005), "PluginInterfaceCallbackData / none");
    EXPECT_EQ(types(1008), "none / PluginInterfaceClippingData");
    EXPECT_EQ(types(1009), "none / char*");
    EXPECT_EQ(types(1014), "eClippingParam / PluginInterfaceClippingCap");
    EXPECT_EQ(types(1114), "CSmartCamParamBase* / none");
    EXPECT_EQ(types(1203), "uint64 / double");
    EXPECT_EQ(types(1409), "PluginInterfaceIOPort / bool");
    EXPECT_EQ(types(1538), "bool / none");
}

// ---- values

TEST_F(DeviceCommandsTest, NumbersGoThereAndBack) {
    for (const char* text : {"50", "-3.5", "0.1", "1e+300", "nan", "inf", "-inf"}) {
        send(1106, text);
        EXPECT_EQ(value(1107), text);
    }
    EXPECT_TRUE(std::isinf(_device.rate));
    for (const char* text : {"0", "18446744073709551615"}) EXPECT_EQ(value(1207, text), text);
    for (const char* text : {"-2147483648", "2147483647"}) {
        send(1112, text);
        EXPECT_EQ(value(1113), text);
    }
    EXPECT_EQ(value(1407, "0,90"), "90");
}

TEST_F(DeviceCommandsTest, NumbersThatDoNotFitAreNamedWithTheirLimits) {
    EXPECT_EQ(problem(1106, "5x"), "'5x' is not a number");
    EXPECT_EQ(problem(1106, ""), "'' is not a number");
    EXPECT_EQ(problem(1106, "1e999"), "'1e999' is not a number");
    EXPECT_EQ(problem(1112, "2147483648"), "'2147483648' is not a whole number from -2147483648 to 2147483647");
    EXPECT_EQ(problem(1014, "1.5"), "'1.5' is not a whole number from -2147483648 to 2147483647");
    EXPECT_EQ(problem(1207, "-1"), "'-1' is not a whole number from 0 to 18446744073709551615");
    EXPECT_EQ(problem(1207, "18446744073709551616"),
              "'18446744073709551616' is not a whole number from 0 to 18446744073709551615");
    EXPECT_EQ(problem(1106, "1,2"), "'1,2' is not a number");
}

TEST_F(DeviceCommandsTest, FlagsAreTrueOrFalse) {
    for (const char* text : {"true", "1"}) {
        _device.on = false;
        send(1538, text);
        EXPECT_TRUE(_device.on);
    }
    for (const char* text : {"false", "0"}) {
        send(1538, text);
        EXPECT_FALSE(_device.on);
    }
    EXPECT_EQ(problem(1538, "yes"), "'yes' is not true or false");
    EXPECT_EQ(value(1409, "0,0"), "true");
    _device.flagStatus = NUV::kNotSupported;
    EXPECT_FALSE(send(1409, "0,0").wroteValue);
}

TEST_F(DeviceCommandsTest, StructuresAreTheirFieldsWithCommas) {
    send(1007, "10,20,30,18446744073709551615");
    EXPECT_EQ(_device.clip.x, 10u);
    EXPECT_EQ(_device.clip.y, 20u);
    EXPECT_EQ(_device.clip.width, 30u);
    EXPECT_EQ(_device.clip.height, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(asParameter(send(1008)), "1,2,3,18446744073709551615");
    send(1211, "1,2,3,4,0.5");
    EXPECT_EQ(asParameter(send(1212, "0")), "1,2,3,4,0.5");
    send(1504, "5,6,7,8");
    EXPECT_EQ(_device.motor.reserved[3], 8u);

    EXPECT_EQ(problem(1007, "1,2,3"), "'1,2,3' is not 4 numbers: x,y,width,height");
    EXPECT_EQ(problem(1007, "1,2,3,4,5"), "'1,2,3,4,5' is not 4 numbers: x,y,width,height");
    EXPECT_EQ(problem(1007, "1,2,-3,4"), "width: '-3' is not a whole number from 0 to 18446744073709551615");
    EXPECT_EQ(problem(1504, "1,,3,4"), "word1: '' is not a whole number from 0 to 18446744073709551615");
}

TEST_F(DeviceCommandsTest, TextsMayBeMissing) {
    send(1001);
    EXPECT_EQ(_device.text, "(null)");
    send(1001, "");
    EXPECT_EQ(_device.text, "");
    send(1001, "a,b.ini");
    EXPECT_EQ(_device.text, "a,b.ini");
}

TEST_F(DeviceCommandsTest, CallbackIsTheHostsOwnOrNone) {
    send(1005, "host");
    ASSERT_NE(_device.callback, nullptr);
    NUV::IMAGEMEMORY record{};
    EXPECT_EQ(_device.callback(nullptr, &record), 0);
    send(1005, "null");
    EXPECT_EQ(_device.callback, nullptr);
    EXPECT_THAT(problem(1005, "mine"), HasSubstr("'mine' is neither host"));
}

TEST_F(DeviceCommandsTest, OpaqueObjectsCanOnlyBeNull) {
    EXPECT_EQ(send(1114, "null").status, NUV::kDone);
    EXPECT_THAT(problem(1114, "1"), HasSubstr("'1' is not null"));
}

TEST_F(DeviceCommandsTest, MissingAndSuperfluousValuesAreRefused) {
    EXPECT_EQ(problem(1106, std::nullopt), "needs a value of the type double, for example 0");
    EXPECT_EQ(problem(1007, std::nullopt),
              "needs a value of the type PluginInterfaceClippingData, for example 0,0,0,0");
    EXPECT_EQ(problem(1005, std::nullopt), "needs a value of the type PluginInterfaceCallbackData, for example null");
    EXPECT_EQ(problem(1002, "1"), "takes no value");
}

// ---- results

TEST_F(DeviceCommandsTest, ValueThatTheDeviceLeftAloneIsNotShown) {
    EXPECT_EQ(value(1103), "-");
    EXPECT_FALSE(send(1109).wroteValue);
    EXPECT_EQ(send(1109).status, NUV::kNotSupported);
}

TEST_F(DeviceCommandsTest, PointersAreShownAsWhatTheyLeadTo) {
    EXPECT_EQ(value(1009), "null");
    _device.address = reinterpret_cast<char*>(std::uintptr_t{0xAB0});
    EXPECT_EQ(value(1009), "0xab0");
    EXPECT_EQ(value(1012), "null");
    _device.documentText = "<Info/>";
    EXPECT_EQ(value(1012), "<Info/>");
    EXPECT_EQ(value(1011), "null");
    EXPECT_EQ(value(1015), "null");
    NUV::SmartMetaDataCaps caps;
    _device.caps = &caps;
    EXPECT_EQ(send(1015).value.at(1).name, "entries");
    EXPECT_EQ(send(1015).value.at(1).text, "0");
}

TEST_F(DeviceCommandsTest, ImageMemoryIsShownFieldByField) {
    NUV::IMAGEMEMORY record{};
    record.width = 640;
    record.clipping.height = 5;
    record.bytesPerPixel = 2;
    record.frameTime = 0.25;
    record.pixelFormat = NUV::PIXELFORMAT(7);
    record.metaData.emplace(NUV::SMARTMETADATAKEY::temperature, std::make_shared<NUV::SmartMetaDataDouble>(23.5));
    record.metaData.emplace(NUV::SMARTMETADATAKEY(1), nullptr);
    _device.record = &record;
    const CommandAnswer answer = send(1011);
    std::string shown;
    for (std::size_t index = 1; index < answer.value.size(); ++index)
        shown += answer.value[index].name + '=' + answer.value[index].text + ' ';
    EXPECT_EQ(shown,
              "width=640 height=0 second_width=0 second_height=0 clipping_x=0 clipping_y=0 clipping_width=0 "
              "clipping_height=5 bytes_per_pixel=2 image_buffer=null arrange_type=0 time_stamp_type=0 time_stamp=0 "
              "frame_time=0.25 image_counter=0 pixel_format=7 meta_data_0=23.5 ");
}

TEST_F(DeviceCommandsTest, BitmapDescriptionIsShownFieldByField) {
    _device.description.bmiColors[0].rgbRed = 9;
    const CommandAnswer answer = send(1001);
    ASSERT_EQ(answer.value.size(), 15u);
    EXPECT_EQ(answer.value[2].name, "biHeight");
    EXPECT_EQ(answer.value[2].text, "-1024");
    EXPECT_EQ(answer.value[13].name, "rgbRed");
    EXPECT_EQ(answer.value[13].text, "9");
}

TEST(StatusText, NamesTheStatusesThatThereAre) {
    EXPECT_EQ(host::statusText({0, 1}), "(0, 1) done");
    EXPECT_EQ(host::statusText({-4, 0}), "(-4, 0) not supported or failed");
    EXPECT_EQ(host::statusText({-1, 0}), "(-1, 0) wrong type of parameter");
    EXPECT_EQ(host::statusText({0, 0}), "(0, 0)");
}

}  // namespace
