// The worker thread's start and end.
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "acquisition_fixture.h"

namespace {

using namespace test::acquisition;
using kest::dorven::TeskImages;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

TEST_F(AcquisitionTest, GrabTracesItsStart) {
    grabAndPlay();
    EXPECT_THAT(_log.traces(),
                IsSupersetOf({"kest::dorven::TeskImages::grab", "kest::dorven::TeskImages::grab - grabbing.",
                              "kest::dorven::TeskImages::imageThread"}));
}

TEST_F(AcquisitionTest, TracesOfAGrabAreOfLevelFourAndOneFile) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {1});
    startFaking();
    _log.clear();
    grabAndPlay();
    EXPECT_TRUE(_source->freeze());
    std::vector<std::string> seen;
    for (const test::LogEntry& entry : _log.entries(LogSink::trace)) {
        const bool fromTheLink =
            entry.text.starts_with("kest::dorven::") && !entry.text.starts_with("kest::dorven::TeskImages::");
        if (fromTheLink) continue;
        seen.push_back(entry.text);
        EXPECT_EQ(entry.level, 4) << entry.text;
        EXPECT_EQ(entry.file, "Dorven/TeskImages") << entry.text;
        EXPECT_EQ(entry.channel, "default") << entry.text;
    }
    EXPECT_THAT(seen, IsSupersetOf({std::string("kest::dorven::TeskImages::imageThread"), kEstablished,
                                    std::string("grabbing from dorven"), noAnswer(10), kFakingText, kClosed,
                                    std::string("kest::dorven::TeskImages::freeze")}));
}

TEST_F(AcquisitionTest, FreezeRightBehindGrabLeavesNoSignalBehind) {
    for (int round = 0; round < 50; ++round) {
        ASSERT_TRUE(_source->grab());
        EXPECT_TRUE(_source->freeze());
    }
    EXPECT_EQ(_event->notifications(), 50);
    EXPECT_FALSE(_event->isNotified());
}

TEST_F(AcquisitionTest, FreezeNotifiesOnceAndStops) {
    grabAndPlay();
    EXPECT_TRUE(_source->isRunning());
    EXPECT_TRUE(_source->freeze());
    EXPECT_FALSE(_source->isRunning());
    EXPECT_EQ(_event->notifications(), 1);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(AcquisitionTest, FreezeNotifiesAgainWhenAnotherTookTheSignal) {
    _event->loseNotifications(2);
    grabAndPlay();
    EXPECT_TRUE(_source->freeze());
    EXPECT_EQ(_event->notifications(), 3);
}

TEST_F(AcquisitionTest, FreezeOfAStoppedSourceIsReported) {
    EXPECT_FALSE(_source->freeze());
    EXPECT_THAT(_log.errors(), ElementsAre("kest::dorven::TeskImages::stopImageThread() : thread is not running.",
                                           "Failed to stop the grabbing."));
    EXPECT_EQ(_event->notifications(), 0);
}

TEST_F(AcquisitionTest, FreezeDoesNotDeliverWaitingImages) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {1});
    grabAndPlay();
    ring.put(2);
    EXPECT_TRUE(_source->freeze());
    EXPECT_THAT(_received.counters(), ElementsAre(1u));
    EXPECT_EQ(MMemLineFifo_GetCount(ring.memory()), 1u);
    EXPECT_FALSE(ring.hasReader());
    EXPECT_EQ(progress().back(), kClosed);
}

TEST_F(AcquisitionTest, SecondGrabEndsTheFirstAndCountsAnew) {
    _event->answer(kTimeout, 10);
    grabAndPlay();
    _log.clear();
    ASSERT_TRUE(_source->grab());
    _event->answer(kTimeout, 10);
    _event->playToEnd();
    EXPECT_EQ(_received.count(), 0u);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::freeze"));
    EXPECT_THAT(progress(), Contains(noAnswer(0)));
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_TRUE(_source->freeze());
}

TEST_F(AcquisitionTest, DestructionEndsARunningThreadQuietly) {
    grabAndPlay();
    _source.reset();
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::~TeskImages"));
    EXPECT_EQ(_log.traces().back(),  // the link is destroyed last
              "kest::dorven::IPMessenger::close - DorVenCameraPlugin_tesk_asks - thread closed");
}

TEST_F(AcquisitionTest, CallbackRunsOnTheWorkerThread) {
    startFaking();
    grabAndPlay();
    EXPECT_NE(_received.images().at(0).thread, std::this_thread::get_id());
}

TEST(ThreadStart, FailureIsThrownAndTheNextGrabWorks) {
    test::LogRecorder log;
    bool refuse = true;
    const auto event = std::make_shared<test::ScriptedEvent>();
    TeskImages source(event, [&](std::function<void()> function) {
        if (refuse) throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        return std::make_shared<std::thread>(function);
    });
    EXPECT_THROW(source.grab(), std::system_error);
    EXPECT_FALSE(source.isRunning());
    refuse = false;
    EXPECT_TRUE(source.grab());
    EXPECT_TRUE(source.freeze());
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST(ThreadStart, WithoutAThreadIsReported) {
    test::LogRecorder log;
    TeskImages source(std::make_shared<test::ScriptedEvent>(), [](std::function<void()>) { return nullptr; });
    EXPECT_FALSE(source.grab());
    EXPECT_FALSE(source.isRunning());
    EXPECT_THAT(log.errors(),
                ElementsAre("kest::dorven::TeskImages::startImageThread() : DorVenPlugin::StartGetImageThread() failed "
                            "to created getcmd thread.",
                            "kest::dorven::TeskImages::grab - failed to start the grab."));
}

struct DeviceWithSource : NUV::DorVenPlugin {
    explicit DeviceWithSource(std::shared_ptr<TeskImages> source) : DorVenPlugin("") { useSource(std::move(source)); }
};

TEST(ThreadStart, FailureIsRefusedByTheDevice) {
    test::LogRecorder log;
    DeviceWithSource device(std::make_shared<TeskImages>(
        std::make_shared<test::ScriptedEvent>(), [](std::function<void()>) -> std::shared_ptr<std::thread> {
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again), "thread");
        }));
    NUV::PluginInterfaceReturnBase result({9, 9});
    EXPECT_EQ(device.call(1002, nullptr, &result), NUV::kNotSupported);
    EXPECT_EQ(result.status, NUV::kNotSupported);
    ASSERT_EQ(log.errors().size(), 1u);
    EXPECT_THAT(log.errors()[0], HasSubstr("NUV::DorVenPlugin::grab() : thread"));
}

TEST(ThreadStart, UnknownExceptionIsRefusedByTheDevice) {
    test::LogRecorder log;
    DeviceWithSource device(
        std::make_shared<TeskImages>(std::make_shared<test::ScriptedEvent>(),
                                     [](std::function<void()>) -> std::shared_ptr<std::thread> { throw 7; }));
    EXPECT_EQ(device.call(1002, nullptr, nullptr), NUV::kNotSupported);
    EXPECT_THAT(log.errors(), ElementsAre("NUV::DorVenPlugin::grab() : unknown exception."));
}

}  // namespace
