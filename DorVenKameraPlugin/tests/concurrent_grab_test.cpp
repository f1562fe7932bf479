// The camera against a live simulator in a second thread (where ThreadSanitizer sees both) and in a second process.
#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "child_process.h"
#include "live_simulator.h"
#include "log_recorder.h"
#include "received_images.h"
#include "stopwatch.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using testing::IsEmpty;

constexpr std::size_t kPixelBytes = 4096;
constexpr std::size_t kRingLines = 8;

/// A simulator thread that writes until told to stop.
class LiveWriter {
public:
    LiveWriter() : _ring(kPixelBytes, kRingLines), _thread([this] { test::writeImages(_ring, 1, ~0ull, &_stop); }) {}
    ~LiveWriter() {
        _stop = true;
        _thread.join();
    }

private:
    test::SimulatorRing _ring;
    std::atomic<bool> _stop = false;
    std::thread _thread;
};

class Camera {
public:
    Camera() { EXPECT_EQ(device.call(1001, nullptr, nullptr), kDone); }
    PluginCallStatus setCallback(void* context, ImageCallback function) {
        PluginInterfaceParameter<PluginInterfaceCallbackData> parameter({context, function});
        return device.call(1005, &parameter, nullptr);
    }
    PluginCallStatus grab() { return device.call(1002, nullptr, nullptr); }
    PluginCallStatus freeze() { return device.call(1004, nullptr, nullptr); }

    DorVenPlugin device{""};
};

CHILD_ROLE(writesFiveHundredImages) {
    test::SimulatorRing ring(kPixelBytes, kRingLines);
    return test::writeImages(ring, 1, 500) ? 0 : 1;
}

TEST(SimulatorInAnotherProcess, EveryImageArrivesOnceAndInOrder) {
    test::LogRecorder log;
    test::ReceivedImages received;
    Camera camera;
    camera.setCallback(&received, &test::ReceivedImages::callback);
    ASSERT_EQ(camera.grab(), kDone);
    test::ChildProcess simulator("writesFiveHundredImages");
    EXPECT_TRUE(received.waitFor(500, 60s));
    EXPECT_EQ(simulator.join(60s), 0);
    EXPECT_EQ(camera.freeze(), kDone);
    EXPECT_EQ(received.counters(), test::consecutive(1, 500));
    for (const auto& image : received.images())
        ASSERT_EQ(image.firstPixel, test::fillOf(image.counter)) << image.counter;
}

TEST(SimulatorInAnotherProcess, ThatComesBackIsGrabbedFromAgain) {
    test::LogRecorder log;
    test::ReceivedImages received;
    Camera camera;
    camera.setCallback(&received, &test::ReceivedImages::callback);
    ASSERT_EQ(camera.grab(), kDone);
    for (std::size_t run = 1; run <= 2; ++run) {
        test::ChildProcess simulator("writesFiveHundredImages");
        EXPECT_TRUE(received.waitFor(500 * run, 60s));
        EXPECT_EQ(simulator.join(60s), 0);
    }
    EXPECT_EQ(camera.freeze(), kDone);
    auto expected = test::consecutive(1, 500);
    expected.insert(expected.end(), expected.begin(), expected.end());
    EXPECT_EQ(received.counters(), expected);
}

TEST(SimulatorThread, EveryImageArrivesOnceAndInOrder) {
    test::LogRecorder log;
    test::SimulatorRing ring(kPixelBytes, kRingLines);
    test::ReceivedImages received;
    Camera camera;
    camera.setCallback(&received, &test::ReceivedImages::callback);
    ASSERT_EQ(camera.grab(), kDone);
    EXPECT_TRUE(test::writeImages(ring, 1, 2000));
    EXPECT_TRUE(received.waitFor(2000));
    EXPECT_EQ(camera.freeze(), kDone);
    EXPECT_EQ(received.counters(), test::consecutive(1, 2000));
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST(LiveSimulator, OpenGrabSwapFreezeReleaseOverAndOver) {
    test::LogRecorder log(3);
    LiveWriter writer;
    for (int i = 0; i < 20; ++i) {
        test::ReceivedImages first, second;
        Camera camera;
        camera.setCallback(&first, &test::ReceivedImages::callback);
        ASSERT_EQ(camera.grab(), kDone);
        ASSERT_TRUE(first.waitFor(3));
        camera.setCallback(&second, &test::ReceivedImages::callback);
        ASSERT_TRUE(second.waitFor(3));
        PluginInterfaceParameter<double> rate(100.0 + i);
        EXPECT_EQ(camera.device.call(1106, &rate, nullptr), kDone);
        EXPECT_EQ(camera.device.call(1006, nullptr, nullptr), kDone);
        if (i % 2 == 0) continue;  // released while images flow
        EXPECT_EQ(camera.freeze(), kDone);
    }
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST(LiveSimulator, NoImageComesAfterFreezeReturned) {
    test::LogRecorder log(3);
    LiveWriter writer;
    test::ReceivedImages received;
    Camera camera;
    camera.setCallback(&received, &test::ReceivedImages::callback);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(camera.grab(), kDone);
        ASSERT_TRUE(received.waitFor(received.count() + 1));
        ASSERT_EQ(camera.freeze(), kDone);
        const std::size_t count = received.count();
        std::this_thread::sleep_for(2ms);
        ASSERT_EQ(received.count(), count);
    }
}

std::atomic<int> strangers{0};
std::atomic<int> calls[2];
template <int kIndex>
int countsAs(void* context, IMAGEMEMORY*) {
    if (context != &calls[kIndex]) ++strangers;
    ++calls[kIndex];
    return 0;
}

TEST(LiveSimulator, EachFunctionSeesOnlyItsOwnContext) {
    test::LogRecorder log(3);
    LiveWriter writer;
    Camera camera;
    ASSERT_EQ(camera.grab(), kDone);
    const auto swap = [&] {
        camera.setCallback(&calls[0], &countsAs<0>);
        camera.setCallback(&calls[1], &countsAs<1>);
        return calls[0] > 20 && calls[1] > 20;
    };
    for (int i = 0; i < 20000; ++i) swap();
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!swap() && std::chrono::steady_clock::now() < end) {
    }
    EXPECT_EQ(camera.freeze(), kDone);
    EXPECT_EQ(strangers, 0);
    EXPECT_GT(calls[0], 20);
    EXPECT_GT(calls[1], 20);
}

TEST(Grab, TwoHundredTimesInARow) {
    test::LogRecorder log(3);
    Camera camera;
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(camera.grab(), kDone);
        if (i % 3 == 0) continue;  // the next one ends it
        ASSERT_EQ(camera.freeze(), kDone);
    }
}

TEST(Grab, ByTwoThreadsAtOnceLeavesOneWorker) {
    test::LogRecorder log(3);
    Camera camera;
    const auto grabOften = [&] {
        for (int i = 0; i < 100; ++i) camera.grab();
    };
    std::thread other(grabOften);
    grabOften();
    other.join();
    EXPECT_EQ(camera.grab(), kDone);
    EXPECT_EQ(camera.freeze(), kDone);
    EXPECT_EQ(camera.freeze(), kNotSupported);
}

TEST(Freeze, IsPromptWhileWaitingForTheSimulator) {
    test::LogRecorder log;
    Camera camera;
    const auto freezing = [&] {
        EXPECT_EQ(camera.grab(), kDone);
        std::this_thread::sleep_for(50ms);  // most times it waits by then
        return test::secondsOf([&] { EXPECT_EQ(camera.freeze(), kDone); });
    };
    // The signal wakes it: neither the rest of the two seconds, nor a second signal.
    EXPECT_LT(test::quickestOf(20, 0.1, freezing), 0.1);
}

TEST(Freeze, OfTwoCamerasThatWaitForTheSameSignalIsPrompt) {
    test::LogRecorder log;
    Camera first, second;
    const auto freezing = [&] {
        EXPECT_EQ(first.grab(), kDone);
        EXPECT_EQ(second.grab(), kDone);
        std::this_thread::sleep_for(50ms);  // most times both wait by then
        return test::secondsOf([&] {
            EXPECT_EQ(second.freeze(), kDone);  // its signal wakes the first one, which has waited longer
            EXPECT_EQ(first.freeze(), kDone);
        });
    };
    EXPECT_LT(test::quickestOf(8, 1.0, freezing), 1.0);
}

}  // namespace
