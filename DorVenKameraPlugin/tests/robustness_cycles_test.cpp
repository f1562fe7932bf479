// Many lives of the camera in one process: each returns everything that it takes.
#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenCameraPlugin.h"
#include "live_simulator.h"
#include "log_recorder.h"
#include "received_images.h"
#include "robustness_process_counts.h"

namespace {

using namespace NUV;
using test::ProcessCounts;

constexpr int kWarmUps = 5;
constexpr int kCycles = 200;

/// How much more is held after many runs than after the first few.
template <typename Cycle>
ProcessCounts heldAfter(int cycles, const Cycle& cycle) {
    for (int i = 0; i < kWarmUps; ++i) cycle();
    const ProcessCounts before = ProcessCounts::now();
    for (int i = 0; i < cycles; ++i) cycle();
    return ProcessCounts::now() - before;
}

/// A handle, index or thread more or less at the time of counting is allowed; one for each run is not.
void expectNothingHeld(const ProcessCounts& held) {
    EXPECT_LT(held.handles, 10) << held;
    EXPECT_LT(held.tlsIndices, 10) << held;
    EXPECT_LT(held.threads, 2) << held;
    EXPECT_LT(held.mappings, 10) << held;
}

PluginDeviceBase& openedDevice(PluginBase& plugin) {
    PluginDeviceRecord record{};
    EXPECT_EQ(plugin.enumerate(&record), 1);
    EXPECT_EQ(plugin.device(0)->call(1001, nullptr, nullptr), kDone);
    return *plugin.device(0);
}

TEST(TwoHundredLives, OfOpenGrabAndFreezeLeaveNothing) {
    test::LogRecorder log(0);
    expectNothingHeld(heldAfter(kCycles, [] {
        DorVenCameraPlugin plugin(nullptr);
        PluginDeviceBase& device = openedDevice(plugin);
        ASSERT_EQ(device.call(1002, nullptr, nullptr), kDone);
        ASSERT_EQ(device.call(1004, nullptr, nullptr), kDone);
    }));
    EXPECT_THAT(log.errors(), testing::IsEmpty());
}

TEST(TwoHundredLives, OfGrabbingUntilReleaseLeaveNothing) {
    test::LogRecorder log(0);
    expectNothingHeld(heldAfter(kCycles, [] {
        DorVenCameraPlugin plugin(nullptr);
        ASSERT_EQ(openedDevice(plugin).call(1002, nullptr, nullptr), kDone);
    }));
    EXPECT_THAT(log.errors(), testing::IsEmpty());
}

TEST(TwoHundredLives, WithImagesFromASimulatorLeaveNothing) {
    test::LogRecorder log(0);
    test::SimulatorRing ring(4096, 4);
    std::uint64_t counter = 0;
    expectNothingHeld(heldAfter(kCycles, [&] {
        test::ReceivedImages received;
        DorVenCameraPlugin plugin(nullptr);
        PluginDeviceBase& device = openedDevice(plugin);
        PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
        ASSERT_EQ(device.call(1005, &callback, nullptr), kDone);
        ASSERT_EQ(device.call(1002, nullptr, nullptr), kDone);
        while (!ring.hasReader()) {
            ring.signal();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_TRUE(ring.put(++counter));
        ring.signal();
        ASSERT_TRUE(received.waitFor(1));
        ASSERT_EQ(device.call(1004, nullptr, nullptr), kDone);
    }));
    EXPECT_THAT(log.errors(), testing::IsEmpty());
}

TEST(TwoHundredOpens, OfOneDeviceWhileItGrabsLeaveNothing) {
    test::LogRecorder log(0);
    DorVenCameraPlugin plugin(nullptr);
    PluginDeviceBase& device = openedDevice(plugin);
    expectNothingHeld(heldAfter(kCycles, [&] {
        ASSERT_EQ(device.call(1002, nullptr, nullptr), kDone);
        ASSERT_EQ(device.call(1001, nullptr, nullptr), kDone);
    }));
    EXPECT_THAT(log.errors(), testing::IsEmpty());
}

// The counts themselves: they notice whatever is kept.
TEST(ProcessCounts, NoticeWhatIsKept) {
    // ThreadSanitizer starts a thread of its own with the first one.
    std::thread([] {}).join();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    for (const auto keep : {&test::keepAHandle, &test::keepAMapping, &test::keepATlsIndex, &test::keepAThread}) {
        const ProcessCounts before = ProcessCounts::now();
        EXPECT_EQ(ProcessCounts::now() - before, ProcessCounts());
        const ProcessCounts kept = keep();
        EXPECT_EQ(ProcessCounts::now() - before, kept);
    }
}

}  // namespace
