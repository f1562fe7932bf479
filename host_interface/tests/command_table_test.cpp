#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command_suite.h"

using namespace NUV;

namespace test {

// A device that supports nothing: every command reports that, and only the six requests for the document succeed.
INSTANTIATE_TEST_SUITE_P(AllCommands, CommandSuite,
                         testing::Values(SuiteDevice{
                             "BareDevice", [] { return std::make_shared<PluginDeviceBase>("folder"); },
                             [](std::int32_t id) {
                                 return isDocumentCommand(id) ? Expected{kDone, true} : Expected{kNotSupported, false};
                             }}));

}  // namespace test

namespace {

TEST(CommandTable, SixQuestionsGetTheSameDocument) {
    PluginDeviceBase device("folder");
    std::string first;
    for (const std::int32_t id : {1012, 1118, 1210, 1338, 1403, 1503}) {
        PluginInterfaceReturn<const char*> result({9, 9}, nullptr);
        EXPECT_EQ(device.call(id, nullptr, &result), kDone);
        if (first.empty()) first = result.value;
        EXPECT_EQ(result.value, first);
    }
}

/// Records its calls, and returns values.
class NotingDevice : public PluginDeviceBase {
public:
    NotingDevice() : PluginDeviceBase("folder") {}

    PluginCallStatus setClipping(std::uint64_t x, std::uint64_t y, std::uint64_t width, std::uint64_t height) override {
        noted = {x, y, width, height};
        return kDone;
    }
    PluginCallStatus clipping(std::uint64_t* x, std::uint64_t* y, std::uint64_t* width,
                              std::uint64_t* height) override {
        *x = 1, *y = 2, *width = 3, *height = 4;
        return kDone;
    }
    PluginCallStatus clippingCapability(eClippingParam which, std::uint64_t* minimum, std::uint64_t* maximum,
                                        std::uint64_t* step) override {
        *minimum = 5, *maximum = 6, *step = static_cast<std::uint64_t>(which);
        return kDone;
    }
    PluginCallStatus pixelSize(double* x, double* y) override {
        *x = 1.5, *y = 2.5;
        return kDone;
    }
    PluginCallStatus setImageCallback(void* context, ImageCallback function) override {
        callback = {context, function};
        return kDone;
    }
    PluginCallStatus light1207(std::uint64_t light, std::uint64_t* value) override {
        *value = light * 2;
        return kDone;
    }
    PluginCallStatus setLightTrigger(const PluginInterfaceLightTriggerData* trigger) override {
        triggerValue = trigger->value;
        return kDone;
    }
    PluginCallStatus motor1538(bool value) override {
        noted = {value ? 1u : 0u};
        return kDone;
    }
    PluginCallStatus openImageDevice(const char* path, const tagBITMAPINFO** bitmap) override {
        text = path ? path : "(null)";
        *bitmap = withBitmap ? &description : nullptr;
        return kDone;
    }
    PluginCallStatus setSmartCameraParameter(CSmartCamParamBase* parameter) override {
        opaque = parameter;
        return kDone;
    }
    PluginCallStatus setTriggerMode(TRIGGERMODE mode) override {
        noted = {static_cast<std::uint64_t>(mode)};
        return kDone;
    }
    PluginCallStatus triggerMode(TRIGGERMODE* mode) override {
        *mode = TRIGGERMODE{4};
        return kDone;
    }
    PluginCallStatus ioPort1405(const PluginInterfaceIOPort* port, std::int32_t* value) override {
        *value = static_cast<std::int32_t>(port->reserved[1]);
        return kDone;
    }
    PluginCallStatus ioPort1409(const PluginInterfaceIOPort* port, bool* value) override {
        *value = port->reserved[0] == 8;
        return kDone;
    }
    PluginCallStatus lightInformation(std::uint64_t light, LIGHTINFO* information) override {
        information->reserved[3] = light;  // the other values do not matter
        return kDone;
    }
    PluginCallStatus grab() override { throw std::runtime_error("grab"); }
    PluginCallStatus freeze() override { throw 7; }

    std::vector<std::uint64_t> noted;
    PluginInterfaceCallbackData callback{};
    double triggerValue = 0.0;
    CSmartCamParamBase* opaque = nullptr;
    std::string text;
    bool withBitmap = true;
    tagBITMAPINFO description{};
};

int someCallback(void*, IMAGEMEMORY*) { return 0; }

TEST(CommandAdapter, SpreadsAStructureOverArguments) {
    NotingDevice device;
    PluginInterfaceParameter<PluginInterfaceClippingData> clipping({10, 20, 30, 40});
    EXPECT_EQ(device.call(1007, &clipping, nullptr), kDone);
    EXPECT_EQ(device.noted, (std::vector<std::uint64_t>{10, 20, 30, 40}));

    int context = 0;
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&context, &someCallback});
    EXPECT_EQ(device.call(1005, &callback, nullptr), kDone);
    EXPECT_EQ(device.callback.context, &context);
    EXPECT_EQ(device.callback.function, &someCallback);
}

TEST(CommandAdapter, WrongParameterLeavesTheCallbackThatWasSet) {
    NotingDevice device;
    int context = 0;
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&context, &someCallback});
    device.call(1005, &callback, nullptr);
    PluginInterfaceParameter<double> wrong(1.0);
    PluginInterfaceReturnBase result({9, 9});
    EXPECT_EQ(device.call(1005, &wrong, &result), kWrongParameter);
    EXPECT_EQ(result.status, kWrongParameter);
    EXPECT_EQ(device.callback.context, &context);
    EXPECT_EQ(device.callback.function, &someCallback);
}

TEST(CommandAdapter, GathersOutputsIntoAStructure) {
    NotingDevice device;
    PluginInterfaceReturn<PluginInterfaceClippingData> clipping({9, 9}, {});
    EXPECT_EQ(device.call(1008, nullptr, &clipping), kDone);
    EXPECT_EQ(clipping.value.x, 1u);
    EXPECT_EQ(clipping.value.y, 2u);
    EXPECT_EQ(clipping.value.width, 3u);
    EXPECT_EQ(clipping.value.height, 4u);

    PluginInterfaceParameter<eClippingParam> which(eClippingParam::height);
    PluginInterfaceReturn<PluginInterfaceClippingCap> capability({9, 9}, {});
    EXPECT_EQ(device.call(1014, &which, &capability), kDone);
    EXPECT_EQ(capability.value.minimum, 5u);
    EXPECT_EQ(capability.value.maximum, 6u);
    EXPECT_EQ(capability.value.step, 3u);

    PluginInterfaceReturn<PluginInterfacePixelSizeData> pixel({9, 9}, {});
    EXPECT_EQ(device.call(1013, nullptr, &pixel), kDone);
    EXPECT_EQ(pixel.value.x, 1.5);
    EXPECT_EQ(pixel.value.y, 2.5);
}

TEST(CommandAdapter, PassesValuesAndAddresses) {
    NotingDevice device;
    PluginInterfaceParameter<std::uint64_t> light(21);
    PluginInterfaceReturn<std::uint64_t> doubled({9, 9}, 0);
    EXPECT_EQ(device.call(1207, &light, &doubled), kDone);
    EXPECT_EQ(doubled.value, 42u);

    PluginInterfaceLightTriggerData data{};
    data.value = 3.5;
    PluginInterfaceParameter<PluginInterfaceLightTriggerData> trigger(data);
    EXPECT_EQ(device.call(1211, &trigger, nullptr), kDone);
    EXPECT_EQ(device.triggerValue, 3.5);

    PluginInterfaceParameter<bool> on(true);
    EXPECT_EQ(device.call(1538, &on, nullptr), kDone);
    EXPECT_EQ(device.noted, std::vector<std::uint64_t>{1});
}

TEST(CommandAdapter, HandsOpaqueObjectsThrough) {
    NotingDevice device;
    int object = 0;
    auto* const opaque = reinterpret_cast<CSmartCamParamBase*>(&object);
    PluginInterfaceParameter<CSmartCamParamBase*> parameter(opaque);
    EXPECT_EQ(device.call(1114, &parameter, nullptr), kDone);
    EXPECT_EQ(device.opaque, opaque);
}

TEST(CommandAdapter, PassesEnumerations) {
    NotingDevice device;
    PluginInterfaceParameter<TRIGGERMODE> mode(TRIGGERMODE{3});
    EXPECT_EQ(device.call(1108, &mode, nullptr), kDone);
    EXPECT_EQ(device.noted, std::vector<std::uint64_t>{3});
    PluginInterfaceReturn<TRIGGERMODE> result({9, 9}, TRIGGERMODE{});
    EXPECT_EQ(device.call(1109, nullptr, &result), kDone);
    EXPECT_EQ(result.value, TRIGGERMODE{4});
    // An enumeration is not the same type as its underlying number.
    PluginInterfaceParameter<std::int32_t> number(5);
    EXPECT_EQ(device.call(1108, &number, nullptr), kWrongParameter);
    EXPECT_EQ(device.noted, std::vector<std::uint64_t>{3});
}

TEST(CommandAdapter, PassesAStructureByAddressBesideAnOutput) {
    NotingDevice device;
    PluginInterfaceParameter<PluginInterfaceIOPort> port(PluginInterfaceIOPort{{8, 21}});
    PluginInterfaceReturn<int> number({9, 9}, 0);
    EXPECT_EQ(device.call(1405, &port, &number), kDone);
    EXPECT_EQ(number.value, 21);
    PluginInterfaceReturn<bool> flag({9, 9}, false);
    EXPECT_EQ(device.call(1409, &port, &flag), kDone);
    EXPECT_TRUE(flag.value);
}

TEST(CommandAdapter, OutputsStartAsTheHostsValue) {
    NotingDevice device;
    PluginInterfaceParameter<std::uint64_t> light(9);
    PluginInterfaceReturn<LIGHTINFO> result({9, 9}, LIGHTINFO{{1, 2, 3, 4}});
    EXPECT_EQ(device.call(1209, &light, &result), kDone);
    EXPECT_THAT(result.value.reserved, testing::ElementsAre(1u, 2u, 3u, 9u));
}

TEST(CommandAdapter, TextIsNullForAnotherParameterType) {
    NotingDevice device;
    PluginInterfaceParameter<const char*> path("a.ini");
    PluginInterfaceParameter<int> wrong(1);
    device.call(1001, &path, nullptr);
    EXPECT_EQ(device.text, "a.ini");
    device.call(1001, &wrong, nullptr);
    EXPECT_EQ(device.text, "(null)");
}

TEST(CommandAdapter, CopiesTheBitmapDescriptionWhenThereIsOne) {
    NotingDevice device;
    device.description.bmiHeader.biWidth = 640;
    device.description.bmiColors[0].rgbRed = 7;
    PluginInterfaceReturn<tagBITMAPINFO> result({9, 9}, {});
    result.value.bmiHeader.biWidth = -1;
    device.withBitmap = false;
    EXPECT_EQ(device.call(1001, nullptr, &result), kDone);
    EXPECT_EQ(result.status, kDone);
    EXPECT_EQ(result.value.bmiHeader.biWidth, -1);
    device.withBitmap = true;
    EXPECT_EQ(device.call(1001, nullptr, &result), kDone);
    EXPECT_EQ(result.value.bmiHeader.biWidth, 640);
    EXPECT_EQ(result.value.bmiColors[0].rgbRed, 7);
}

TEST(CommandCall, AnswersNotSupportedForWhateverIsThrown) {
    NotingDevice device;
    PluginInterfaceReturnBase result({9, 9});
    EXPECT_EQ(device.call(1002, nullptr, &result), kNotSupported);
    EXPECT_EQ(device.call(1004, nullptr, &result), kNotSupported);
    EXPECT_EQ(result.status, (PluginCallStatus{9, 9}));
}

}  // namespace
