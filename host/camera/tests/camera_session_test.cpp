#include "camera_session.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "camera_commands.h"

namespace {

using host::CameraSession;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr NUV::PluginCallStatus kRefused = NUV::kNotSupported;

int takeImage(void*, NUV::IMAGEMEMORY*) { return 0; }

// Records the session's calls, and refuses what the test names.
class NotingCamera : public NUV::PluginDeviceBase {
public:
    NotingCamera() : PluginDeviceBase("") {}

    NUV::PluginCallStatus openImageDevice(const char* path, const tagBITMAPINFO**) override {
        return note(std::string("open ") + (path ? path : "null"));
    }
    NUV::PluginCallStatus imageMemory(NUV::IMAGEMEMORY** memory) override {
        *memory = hasMemory ? &record : nullptr;
        return note("memory");
    }
    NUV::PluginCallStatus frameRate(double* rate) override {
        *rate = 59.94;
        return note("rate");
    }
    NUV::PluginCallStatus setImageCallback(void* newContext, NUV::ImageCallback newFunction) override {
        context = newContext;
        function = newFunction;
        return note("callback");
    }
    NUV::PluginCallStatus removeImageCallback() override { return note("no callback"); }
    NUV::PluginCallStatus grab() override { return note("grab"); }
    NUV::PluginCallStatus freeze() override { return note("freeze"); }

    NUV::IMAGEMEMORY record{};
    bool hasMemory = true;
    void* context = nullptr;
    NUV::ImageCallback function = nullptr;
    std::vector<std::string> asked;
    std::vector<std::string> refused;

private:
    NUV::PluginCallStatus note(const std::string& what) {
        asked.push_back(what);
        return std::find(refused.begin(), refused.end(), what) == refused.end() ? NUV::kDone : kRefused;
    }
};

class CameraSessionTest : public testing::Test {
protected:
    std::vector<std::string> asked() { return std::exchange(_camera.asked, {}); }
    bool start() { return _session->start({this, &takeImage}, _error); }

    NotingCamera _camera;
    std::optional<CameraSession> _session{_camera};
    std::string _error;
};

TEST_F(CameraSessionTest, CommandsHaveTheNumbersOfTheFramework) {
    EXPECT_EQ(host::command_id::openImageDevice, 1001);
    EXPECT_EQ(host::command_id::freeze, 1004);
    EXPECT_EQ(host::command_id::frameRate, 1107);
}

TEST_F(CameraSessionTest, GrabIsCallbackThenGrabAndItsEndTheOtherWayRound) {
    EXPECT_TRUE(_session->open("camera.ini", _error));
    EXPECT_TRUE(start());
    EXPECT_EQ(_camera.context, this);
    EXPECT_EQ(_camera.function, &takeImage);
    EXPECT_THAT(asked(), ElementsAre("open camera.ini", "callback", "grab"));
    EXPECT_TRUE(_session->stop(_error));
    EXPECT_THAT(asked(), ElementsAre("freeze", "no callback"));
    EXPECT_EQ(_error, "");
}

TEST_F(CameraSessionTest, NoConfigurationIsANullText) {
    EXPECT_TRUE(_session->open("", _error));
    EXPECT_THAT(asked(), ElementsAre("open null"));
}

TEST_F(CameraSessionTest, SessionThatGoesAwayStopsGrabbing) {
    start();
    asked();
    _session.reset();
    EXPECT_THAT(asked(), ElementsAre("freeze", "no callback"));
}

TEST_F(CameraSessionTest, CameraThatDoesNotGrabIsNotStopped) {
    _session->open("", _error);
    asked();
    EXPECT_TRUE(_session->stop(_error));
    _session.reset();
    EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(CameraSessionTest, StoppedCameraIsNotStoppedAgainAndCanGrabAnew) {
    start();
    _session->stop(_error);
    EXPECT_TRUE(_session->stop(_error));
    EXPECT_TRUE(start());
    EXPECT_THAT(asked(), ElementsAre("callback", "grab", "freeze", "no callback", "callback", "grab"));
}

TEST_F(CameraSessionTest, RefusedGrabRemovesTheCallbackAgain) {
    _camera.refused = {"grab"};
    EXPECT_FALSE(start());
    EXPECT_EQ(_error, "the camera did not start grabbing: command 1002 answered (-4, 0)");
    _session.reset();
    EXPECT_THAT(asked(), ElementsAre("callback", "grab", "no callback"));
}

TEST_F(CameraSessionTest, EachRefusedCommandIsNamed) {
    _camera.refused = {"open x", "memory", "rate", "callback", "freeze", "no callback"};
    const auto errorOf = [this](bool good) {
        EXPECT_FALSE(good);
        return std::exchange(_error, "");
    };
    double rate = 7.0;
    EXPECT_EQ(errorOf(_session->open("x", _error)),
              "the camera did not open the camera: command 1001 answered (-4, 0)");
    EXPECT_EQ(errorOf(_session->imageMemory(_error)),
              "the camera did not give its image memory: command 1011 answered (-4, 0)");
    EXPECT_EQ(errorOf(_session->frameRate(rate, _error)),
              "the camera did not tell its frame rate: command 1107 answered (-4, 0)");
    EXPECT_EQ(rate, 7.0);
    EXPECT_EQ(errorOf(start()), "the camera did not take the callback: command 1005 answered (-4, 0)");
    _camera.refused.erase(_camera.refused.begin() + 3);
    start();
    EXPECT_EQ(
        errorOf(_session->stop(_error)),
        "the camera did not stop grabbing: command 1004 answered (-4, 0); the camera did not remove the callback: "
        "command 1006 answered (-4, 0)");
}

TEST_F(CameraSessionTest, RecordAndRateComeFromTheCamera) {
    double rate = 0;
    EXPECT_EQ(_session->imageMemory(_error), &_camera.record);
    EXPECT_TRUE(_session->frameRate(rate, _error));
    EXPECT_EQ(rate, 59.94);
    _camera.hasMemory = false;
    EXPECT_EQ(_session->imageMemory(_error), nullptr);
    EXPECT_EQ(_error, "the camera has no image memory");
}

TEST_F(CameraSessionTest, CameraIsHeldUntilTheSessionEnds) {
    NotingCamera other;
    host::CameraClaim second;
    EXPECT_TRUE(_session->claim(false, _error));
    EXPECT_FALSE(second.take());
    _session.reset();
    EXPECT_TRUE(second.take());
    CameraSession late(other);
    EXPECT_FALSE(late.claim(false, _error));
    EXPECT_EQ(_error, std::string(host::kCameraIsTaken) + ", or insist with --share");
    EXPECT_TRUE(late.claim(true, _error));
}

}  // namespace
