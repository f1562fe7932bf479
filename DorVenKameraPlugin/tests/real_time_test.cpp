// What takes real seconds: without a simulator, images are faked after eleven waits of two seconds, then at the frame
// rate.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "child_process.h"
#include "live_simulator.h"
#include "log_recorder.h"
#include "object_names.h"
#include "received_images.h"
#include "stopwatch.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using testing::IsEmpty;

constexpr std::size_t kPixelBytes = 1280 * 1024;

CHILD_ROLE(writesForEver) {
    test::SimulatorRing ring(kPixelBytes, 4);
    return test::writeImages(ring, 1, 1000000000) ? 0 : 1;
}

CHILD_ROLE(writesFifty) {
    test::SimulatorRing ring(kPixelBytes, 4);
    return test::writeImages(ring, 1, 50) ? 0 : 1;
}

TEST(CameraWithoutSimulator, FakesAfterTwentyTwoSecondsAtTheFrameRate) {
    test::LogRecorder log;
    test::ReceivedImages received;
    DorVenPlugin camera("");
    ASSERT_EQ(camera.call(1001, nullptr, nullptr), kDone);
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
    ASSERT_EQ(camera.call(1005, &callback, nullptr), kDone);
    PluginInterfaceParameter<double> rate(50.0);
    ASSERT_EQ(camera.call(1106, &rate, nullptr), kDone);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(camera.call(1002, nullptr, nullptr), kDone);
    ASSERT_TRUE(received.waitFor(1, 60s));
    const auto first = received.images().at(0).time;
    EXPECT_GE(first - start, 21900ms);  // each wait may end a tick of the clock early
    ASSERT_TRUE(received.waitFor(51, 60s));
    EXPECT_EQ(camera.call(1004, nullptr, nullptr), kDone);

    const auto images = received.images();
    const auto span = images.at(50).time - first;
    EXPECT_GE(span, 990ms);  // fifty waits of 20 ms, never short
    for (std::size_t i = 0; i < images.size(); ++i) {
        EXPECT_EQ(images[i].counter, i + 1);
        EXPECT_EQ(images[i].timeStamp, (i + 1) * 20000);
        EXPECT_EQ(images[i].pixels, images[0].pixels);
    }
    const std::size_t count = received.count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(received.count(), count);
}

TEST(CameraWhoseEventCannotBeMade, FakesAfterTwentyTwoSecondsAtTheFrameRateAndReportsItOnce) {
    test::LogRecorder log;
    const HANDLE squatter =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 64, image_road::kImagesEvent);
    ASSERT_NE(squatter, nullptr);
    test::ReceivedImages received;
    DorVenPlugin camera("");
    ASSERT_EQ(camera.call(1001, nullptr, nullptr), kDone);
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
    ASSERT_EQ(camera.call(1005, &callback, nullptr), kDone);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(camera.call(1002, nullptr, nullptr), kDone);
    ASSERT_TRUE(received.waitFor(1, 60s));
    const auto first = received.images().at(0).time;
    EXPECT_GE(first - start, 21900ms);
    ASSERT_TRUE(received.waitFor(201, 60s));
    EXPECT_GE(received.images().at(200).time - first, 990ms);  // 200 periods of 5 ms, never short
    EXPECT_EQ(camera.call(1004, nullptr, nullptr), kDone);
    EXPECT_THAT(log.errors(), testing::ElementsAre(testing::HasSubstr("waiting for the image event failed")));
    EXPECT_LE(log.errorTraces().size(), 12u);
    CloseHandle(squatter);
}

TEST(CameraWhoseSimulatorIsKilled, FakesAfterTwentyTwoSecondsAndGrabsFromTheNextAtOnce) {
    test::LogRecorder log;
    test::ReceivedImages received;
    DorVenPlugin camera("");
    ASSERT_EQ(camera.call(1001, nullptr, nullptr), kDone);
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
    ASSERT_EQ(camera.call(1005, &callback, nullptr), kDone);
    PluginInterfaceParameter<double> rate(10.0);
    ASSERT_EQ(camera.call(1106, &rate, nullptr), kDone);
    ASSERT_EQ(camera.call(1002, nullptr, nullptr), kDone);
    {
        test::ChildProcess simulator("writesForEver");
        ASSERT_TRUE(received.waitFor(50, 60s));
        simulator.kill();
    }
    const auto isFaked = [](const auto& image) { return image.firstPixel == 10; };
    ASSERT_TRUE(test::becomesTrue([&] { return isFaked(received.last()); }));
    auto soFar = received.images();
    const auto reals = static_cast<std::size_t>(std::ranges::find_if(soFar, isFaked) - soFar.begin());
    ASSERT_TRUE(received.waitFor(reals + 5));
    const auto images = received.images();
    for (std::size_t i = 0; i < reals; ++i) ASSERT_EQ(images[i].firstPixel, test::fillOf(i + 1));
    const auto silence = images.at(reals).time - images.at(reals - 1).time;
    EXPECT_GE(silence, 21900ms);  // as above
    for (std::size_t i = reals; i < images.size(); ++i) {
        EXPECT_EQ(images[i].counter, i + 1);  // counted on from the last real one
        EXPECT_EQ(images[i].firstPixel, 10);
    }

    test::ChildProcess next("writesFifty");
    EXPECT_EQ(next.join(60s), 0);
    EXPECT_EQ(camera.call(1004, nullptr, nullptr), kDone);
    const auto all = received.counters();
    ASSERT_GE(all.size(), reals + 50);
    EXPECT_EQ(std::vector<std::uint32_t>(all.end() - 50, all.end()), test::consecutive(1, 50));
    EXPECT_THAT(log.errors(), IsEmpty());
}

}  // namespace
