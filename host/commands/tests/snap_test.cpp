#include "snap.h"

#include <filesystem>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "image_file.h"
#include "inspection.h"
#include "platform.h"
#include "scripted_device.h"
#include "simulated_image.h"
#include "strip.h"
#include "temporary_folder.h"

namespace {

using host::SnapOptions;
using test::kFormat;
using test::ScriptedDevice;
using test::simulated;
using testing::HasSubstr;

std::vector<unsigned char> faked() { return std::vector<unsigned char>(kFormat.bytes(), frames::kFakeGrey); }

class SnapTest : public testing::Test {
protected:
    SnapTest() {
        _options.file = _folder.path("out.png");
        _options.timeoutSeconds = 20;
    }

    int run(ScriptedDevice::Script script) {
        ScriptedDevice device(std::move(script));
        return run(device);
    }
    int run(ScriptedDevice& device) {
        device.record.width = kFormat.width;
        device.record.height = device.record.height ? device.record.height : kFormat.height;
        device.record.bytesPerPixel = 1;
        const int exitCode = host::snap(device, _options, _data, _people);
        EXPECT_EQ(device.function, nullptr) << "no callback is left behind";
        return exitCode;
    }
    std::uint64_t savedFrame() {
        frames::GreyImage image;
        std::string error;
        EXPECT_TRUE(frames::readGreyImage(_options.file, image, error)) << error;
        const auto strip = frames::readStrip({image.pixels.data(), kFormat});
        return strip ? strip->frameNumber : 0;
    }

    test::TemporaryFolder _folder;
    SnapOptions _options;
    std::ostringstream _data;
    std::ostringstream _people;
};

TEST_F(SnapTest, FirstWholeSimulatedImageOfNowIsSaved) {
    const auto script = [](ScriptedDevice& self) {
        self.deliver(nullptr);
        self.deliver(faked().data());
        self.deliver(simulated(5, 1000).data());  // waited in the ring from before
        auto torn = simulated(6);
        torn.back() = 99;
        self.deliver(torn.data());
        self.deliver(simulated(7).data());
        self.deliver(simulated(8).data());
    };
    EXPECT_EQ(run(script), host::kExitDone) << _people.str();
    EXPECT_EQ(savedFrame(), 7u);
    EXPECT_EQ(_data.str(), "saved " + _options.file + ": 900 x 20 pixels, 1 byte per pixel, simulated, frame 7\n");
    EXPECT_EQ(_people.str(), "");
}

TEST_F(SnapTest, AnyTakesTheFirstImageWithPixels) {
    _options.anyImage = true;
    EXPECT_EQ(run([](ScriptedDevice& self) {
                  self.deliver(nullptr);
                  self.deliver(faked().data());
              }),
              host::kExitDone);
    EXPECT_THAT(_data.str(), HasSubstr("1 byte per pixel, faked\n"));
}

TEST_F(SnapTest, JsonIsTheLineOfTheSidecar) {
    _options.json = true;
    _options.file = _folder.path("out.raw");
    EXPECT_EQ(run([](ScriptedDevice& self) {
                  self.record.imageCounter = 31;
                  self.deliver(simulated(7).data());
              }),
              host::kExitDone);
    const auto object = nlohmann::json::parse(_data.str());
    EXPECT_EQ(object["file"], _options.file);
    EXPECT_EQ(object["frame_number"], 7);
    EXPECT_EQ(object["counter"], 31);
    EXPECT_EQ(_people.str(), "");
    EXPECT_EQ(std::filesystem::file_size(_options.file), kFormat.bytes());
}

TEST_F(SnapTest, OtherImagesInTimeEndWithThreeAndAreCounted) {
    _options.timeoutSeconds = 0.2;
    EXPECT_EQ(run([](ScriptedDevice& self) {
                  self.deliver(faked().data());
                  self.deliver(faked().data());
              }),
              host::kExitNoImage);
    EXPECT_EQ(_people.str(),
              "dorven-host: no simulated image came for 0.2 s, but 2 others; --any takes those; no simulator is "
              "running: start dorven-simulator; `dorven-host doctor` tells more\n");
    EXPECT_FALSE(std::filesystem::exists(_options.file));
}

TEST_F(SnapTest, NoImageInTimeEndsWithThree) {
    _options.timeoutSeconds = 0.1;
    _options.anyImage = true;
    EXPECT_EQ(run([](ScriptedDevice&) {}), host::kExitNoImage);
    EXPECT_EQ(
        _people.str(),
        "dorven-host: no image came for 0.1 s; no simulator is running: start dorven-simulator; `dorven-host doctor` "
        "tells more\n");
}

TEST_F(SnapTest, ExistingFileIsRefusedBeforeTheCameraIsOpened) {
    _options.file = _folder.file("old.png", "old");
    ScriptedDevice device([](ScriptedDevice& self) { self.deliver(simulated(7).data()); });
    EXPECT_EQ(run(device), host::kExitFailed);
    EXPECT_EQ(device.openedPath, "");
    EXPECT_THAT(_people.str(), HasSubstr("old.png: it exists already; --force replaces it"));
    EXPECT_EQ(std::filesystem::file_size(_options.file), 3u);
    _options.force = true;
    ScriptedDevice again([](ScriptedDevice& self) { self.deliver(simulated(7).data()); });
    EXPECT_EQ(run(again), host::kExitDone);
    EXPECT_EQ(savedFrame(), 7u);
}

TEST_F(SnapTest, FileThatCannotBeWrittenFailsWithTheReason) {
    _options.file = _folder.path() + "/none/out.png";
    const auto script = [](ScriptedDevice& self) { self.deliver(simulated(7).data()); };
    EXPECT_EQ(run(script), host::kExitFailed);
    EXPECT_THAT(_people.str(), HasSubstr("out.png: cannot be written: there is no such folder"));
}

TEST_F(SnapTest, DepthWithoutAFormFailsWithTheReason) {
    _options.file = _folder.path("out.pgm");
    _options.anyImage = true;
    EXPECT_EQ(run([](ScriptedDevice& self) {
                  self.record.width = 300;
                  self.record.bytesPerPixel = 3;
                  self.deliver(faked().data());
              }),
              host::kExitFailed);
    EXPECT_THAT(_people.str(), HasSubstr("out.pgm: PGM has no form for 3 bytes per pixel"));
}

TEST_F(SnapTest, ImageThatReachesBeyondReadableMemoryIsNotTouched) {
    unsigned char pixel = 5;
    ScriptedDevice device([&pixel](ScriptedDevice& self) { self.deliver(&pixel); });
    device.record.height = std::size_t{1} << 29;
    EXPECT_THROW(run(device), std::runtime_error);
    EXPECT_EQ(device.freezes, 1);
}

TEST_F(SnapTest, RefusedCommandsAreTold) {
    ScriptedDevice closed([](ScriptedDevice&) {});
    closed.openStatus = NUV::kNotSupported;
    EXPECT_EQ(run(closed), host::kExitFailed);
    EXPECT_THAT(_people.str(), HasSubstr("the camera did not open the camera: command 1001 answered (-4, 0)"));
    ScriptedDevice deaf([](ScriptedDevice&) {});
    deaf.grabStatus = NUV::kNotSupported;
    EXPECT_EQ(run(deaf), host::kExitFailed);
    EXPECT_EQ(deaf.callbacksRemoved, 1);
    EXPECT_EQ(deaf.freezes, 0);
    EXPECT_THAT(_people.str(), HasSubstr("command 1002 answered (-4, 0)"));
}

}  // namespace
