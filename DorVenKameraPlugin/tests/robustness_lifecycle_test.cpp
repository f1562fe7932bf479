// What a host should not do, or does seldom: opening while images arrive, releasing in the middle, two cameras at once.
#include <atomic>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenCameraPlugin.h"
#include "live_simulator.h"
#include "log_recorder.h"
#include "received_images.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using testing::IsEmpty;

/// A camera in a separate plugin object, as a host holds it.
class HostedCamera {
public:
    HostedCamera() {
        PluginDeviceRecord record{};
        EXPECT_EQ(_plugin->enumerate(&record), 1);
        open();
    }
    ~HostedCamera() { release(); }

    void open() {
        EXPECT_EQ(device().call(1001, nullptr, nullptr), kDone);
        PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
        EXPECT_EQ(device().call(1005, &callback, nullptr), kDone);
    }
    PluginCallStatus grab() { return device().call(1002, nullptr, nullptr); }
    PluginCallStatus freeze() { return device().call(1004, nullptr, nullptr); }
    void release() { _plugin.reset(); }
    PluginDeviceBase& device() { return *_plugin->device(0); }

    test::ReceivedImages received;

private:
    std::unique_ptr<PluginBase> _plugin = std::make_unique<DorVenCameraPlugin>(nullptr);
};

/// A thread delivers images as fast as they are taken.
class RobustnessTest : public testing::Test {
protected:
    RobustnessTest() : _writer([this] { test::writeImages(_ring, 1, ~0ull, &_stop); }) {}
    ~RobustnessTest() override {
        _stop = true;
        _writer.join();
    }

    test::LogRecorder _log;
    test::SimulatorRing _ring{4096, 8};
    std::atomic<bool> _stop = false;
    std::thread _writer;
};

TEST_F(RobustnessTest, OpeningTwiceWhileImagesComeStopsTheOldSourceEachTime) {
    HostedCamera camera;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(camera.grab(), kDone);
        ASSERT_TRUE(camera.received.waitFor(camera.received.count() + 5));
        camera.open();
        camera.open();
        const std::size_t after = camera.received.count();
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(camera.received.count(), after) << "a new source waits for grab";
    }
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(RobustnessTest, NoCallbackRunsAfterReleaseInTheMiddleOfAGrab) {
    for (int round = 0; round < 5; ++round) {
        HostedCamera camera;
        EXPECT_EQ(camera.grab(), kDone);
        ASSERT_TRUE(camera.received.waitFor(3));
        camera.release();
        const std::size_t after = camera.received.count();
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(camera.received.count(), after);
    }
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(RobustnessTest, GrabbingTwiceGoesOnWithOneThread) {
    HostedCamera camera;
    EXPECT_EQ(camera.grab(), kDone);
    ASSERT_TRUE(camera.received.waitFor(3));
    EXPECT_EQ(camera.grab(), kDone);
    const std::size_t before = camera.received.count();
    ASSERT_TRUE(camera.received.waitFor(before + 20));
    const auto images = camera.received.images();
    for (std::size_t i = before + 1; i < images.size(); ++i) EXPECT_EQ(images[i].thread, images[before].thread);
    EXPECT_EQ(camera.freeze(), kDone);
    EXPECT_EQ(camera.freeze(), kNotSupported);
}

TEST_F(RobustnessTest, StopReallyStopsThoughItAnswersNotSupported) {
    HostedCamera camera;
    EXPECT_EQ(camera.grab(), kDone);
    ASSERT_TRUE(camera.received.waitFor(3));
    EXPECT_EQ(camera.device().call(1003, nullptr, nullptr), kNotSupported);
    const std::size_t after = camera.received.count();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(camera.received.count(), after);
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_EQ(camera.freeze(), kNotSupported);  // nothing runs any more
}

TEST_F(RobustnessTest, RemovedCallbackIsNotCalledWhileTheGrabGoesOn) {
    HostedCamera camera;
    EXPECT_EQ(camera.grab(), kDone);
    ASSERT_TRUE(camera.received.waitFor(3));
    EXPECT_EQ(camera.device().call(1006, nullptr, nullptr), kDone);
    std::this_thread::sleep_for(20ms);  // one call may have been under way
    const std::size_t after = camera.received.count();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(camera.received.count(), after);
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&camera.received, &test::ReceivedImages::callback});
    EXPECT_EQ(camera.device().call(1005, &callback, nullptr), kDone);
    EXPECT_TRUE(camera.received.waitFor(after + 3));
    EXPECT_EQ(camera.freeze(), kDone);
}

TEST_F(RobustnessTest, RecordKeepsItsAddressOverGrabAndFreeze) {
    HostedCamera camera;
    const auto record = [&] {
        PluginInterfaceReturn<IMAGEMEMORY*> result({9, 9}, nullptr);
        EXPECT_EQ(camera.device().call(1011, nullptr, &result), kDone);
        return result.value;
    };
    IMAGEMEMORY* const before = record();
    EXPECT_EQ(camera.grab(), kDone);
    ASSERT_TRUE(camera.received.waitFor(3));
    EXPECT_EQ(record(), before);
    EXPECT_EQ(camera.freeze(), kDone);
    EXPECT_EQ(record(), before);
    EXPECT_EQ(before->imageCounter, camera.received.counters().back());
}

TEST_F(RobustnessTest, ReleaseOfOneOfTwoGrabbingCamerasLeavesTheOtherWorking) {
    auto first = std::make_unique<HostedCamera>();
    EXPECT_EQ(first->grab(), kDone);
    ASSERT_TRUE(first->received.waitFor(3));
    HostedCamera second;
    EXPECT_NE(first->device().deviceId(), second.device().deviceId());
    EXPECT_EQ(second.grab(), kDone);
    first.reset();
    // The ring has one reader at a time; the other camera tries at every signal.
    ASSERT_TRUE(second.received.waitFor(second.received.count() + 20));
    EXPECT_EQ(second.freeze(), kDone);
}

TEST_F(RobustnessTest, ReleaseOfTheCameraWithoutTheRingLeavesTheReaderAlone) {
    HostedCamera first;
    EXPECT_EQ(first.grab(), kDone);
    ASSERT_TRUE(first.received.waitFor(3));
    auto second = std::make_unique<HostedCamera>();
    EXPECT_EQ(second->grab(), kDone);
    second.reset();
    ASSERT_TRUE(first.received.waitFor(first.received.count() + 20));
    EXPECT_EQ(first.freeze(), kDone);
}

TEST_F(RobustnessTest, TwoCamerasOpenGrabAndReleaseSideBySide) {
    const auto live = [] {
        for (int round = 0; round < 20; ++round) {
            HostedCamera camera;
            EXPECT_EQ(camera.grab(), kDone);
            std::this_thread::sleep_for(2ms);
            EXPECT_EQ(camera.freeze(), kDone);
        }
    };
    std::thread other(live);
    live();
    other.join();
}

}  // namespace
