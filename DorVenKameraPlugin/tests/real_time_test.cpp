// What takes real seconds: without a simulator images are faked after eleven waits of two seconds, then at the pace of
// the frame rate.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "log_recorder.h"
#include "received_images.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;

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
    ASSERT_TRUE(received.waitFor(1, 30s));
    const auto first = received.images().at(0).time;
    EXPECT_GE(first - start, 22s);
    EXPECT_LE(first - start, 23s);
    ASSERT_TRUE(received.waitFor(51, 30s));
    EXPECT_EQ(camera.call(1004, nullptr, nullptr), kDone);

    const auto images = received.images();
    const auto span = images.at(50).time - first;
    EXPECT_GE(span, 990ms);  // fifty waits of 20 ms, never short
    EXPECT_LE(span, 3s);     // a busy machine
    for (std::size_t i = 0; i < images.size(); ++i) {
        EXPECT_EQ(images[i].counter, i + 1);
        EXPECT_EQ(images[i].timeStamp, (i + 1) * 20000);
        EXPECT_EQ(images[i].pixels, images[0].pixels);
    }
    const std::size_t count = received.count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(received.count(), count);
}

}  // namespace
