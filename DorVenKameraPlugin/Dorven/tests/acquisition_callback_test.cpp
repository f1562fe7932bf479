// What a callback may do: throw, stop the grab, restart it, destroy the source.
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "acquisition_fixture.h"

namespace {

using namespace test::acquisition;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(AcquisitionTest, ThrowingCallbackIsReportedAndImagesGoOn) {
    _received.inside = [] { throw std::runtime_error("out of paper"); };
    startFaking();
    _event->answer(kTimeout);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 2u);
    const std::string text = "kest::dorven::TeskImages::handOver() : the image callback threw: out of paper";
    EXPECT_THAT(_log.errors(), ElementsAre(text, text));
    _log.clear();
    _received.inside = [] { throw 7; };
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_THAT(_log.errors(),
                ElementsAre("kest::dorven::TeskImages::handOver() : the image callback threw an unknown exception."));
}

TEST_F(AcquisitionTest, CallbackMayRemoveItself) {
    _received.inside = [this] { _source->setCallback(nullptr, nullptr); };
    startFaking();
    _event->answer(kTimeout, 2);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
}

TEST_F(AcquisitionTest, CallbackMayFreeze) {
    test::SimulatorRing ring(kPixelBytes, 4);
    std::promise<bool> frozen;
    _received.inside = [&] { frozen.set_value(_source->freeze()); };
    signalWith(ring, {1, 2, 3});
    ASSERT_TRUE(_source->grab());
    EXPECT_TRUE(frozen.get_future().get());
    _source.reset();  // waits for the thread
    EXPECT_THAT(_received.counters(), ElementsAre(1u));
    EXPECT_EQ(MMemLineFifo_GetCount(ring.memory()), 2u);
    EXPECT_FALSE(ring.hasReader());
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(AcquisitionTest, AfterAFreezeByTheCallbackNothingRuns) {
    std::promise<bool> frozen;
    _received.inside = [&] { frozen.set_value(_source->freeze()); };
    startFaking();
    _event->answer(kTimeout, 5);
    ASSERT_TRUE(_source->grab());
    EXPECT_TRUE(frozen.get_future().get());
    EXPECT_FALSE(_source->isRunning());
    EXPECT_FALSE(_source->freeze());
    EXPECT_THAT(_log.errors(), ElementsAre("kest::dorven::TeskImages::stopImageThread() : thread is not running.",
                                           "Failed to stop the grabbing."));
    _source.reset();
    EXPECT_EQ(_received.count(), 1u);
}

TEST_F(AcquisitionTest, CallbackMayGrabAnew) {
    _received.inside = [this] {
        if (_received.count() > 1) return;
        EXPECT_TRUE(_source->grab());
    };
    startFaking();
    _event->answer(kTimeout, 11);
    ASSERT_TRUE(_source->grab());
    _event->playToEnd();
    const auto images = _received.images();
    ASSERT_EQ(images.size(), 2u);
    EXPECT_NE(images[0].thread, images[1].thread);
    EXPECT_TRUE(_source->freeze());
}

TEST_F(AcquisitionTest, CallbackMayGrabAnewAgainAndAgain) {
    constexpr std::size_t kGrabs = 5;
    _received.inside = [this] {
        if (_received.count() >= kGrabs) return;
        EXPECT_TRUE(_source->grab());
    };
    for (std::size_t i = 0; i < kGrabs; ++i) startFaking();
    ASSERT_TRUE(_source->grab());
    _event->playToEnd();
    EXPECT_EQ(_received.count(), kGrabs);
    EXPECT_TRUE(_source->freeze());
}

TEST_F(AcquisitionTest, GrabThatWaitsBehindAStoppedOneDoesNotWorkBesideTheFirst) {
    std::atomic<bool> inside{false};
    std::atomic<bool> together{false};
    _received.inside = [&] {
        if (inside.exchange(true)) together = true;
        if (_received.count() == 1) {
            EXPECT_TRUE(_source->grab());
            EXPECT_TRUE(_source->freeze());
            EXPECT_TRUE(_source->grab());
            std::this_thread::sleep_for(std::chrono::milliseconds(100));  // time for a second worker to begin
        }
        inside = false;
    };
    startFaking();
    startFaking();
    ASSERT_TRUE(_source->grab());
    _event->playToEnd();
    EXPECT_EQ(_received.count(), 2u);
    EXPECT_FALSE(together);
    EXPECT_TRUE(_source->freeze());
}

TEST_F(AcquisitionTest, CallbackMayGrabAnewAndFreezeThat) {
    std::promise<bool> frozen;
    _received.inside = [&] {
        const bool grabbed = _source->grab();  // waits for this callback
        frozen.set_value(_source->freeze() && grabbed);
    };
    startFaking();
    _event->answer(kTimeout, 11);
    ASSERT_TRUE(_source->grab());
    EXPECT_TRUE(frozen.get_future().get());
    EXPECT_FALSE(_source->isRunning());
    _source.reset();
    EXPECT_EQ(_received.count(), 1u);
    EXPECT_EQ(_event->notifications(), 0);  // neither waits for one: it would be left for the next grab
}

TEST_F(AcquisitionTest, FreezeWaitsForACallbackThatFroze) {
    std::promise<void> frozen, goOn;
    _received.inside = [&] {
        EXPECT_TRUE(_source->freeze());
        frozen.set_value();
        goOn.get_future().wait();
    };
    startFaking();
    ASSERT_TRUE(_source->grab());
    frozen.get_future().wait();
    auto stopped = std::async(std::launch::async, [this] { return _source->freeze(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    goOn.set_value();
    EXPECT_FALSE(stopped.get());  // the callback was quicker
}

TEST_F(AcquisitionTest, FreezeWaitsForACallbackThatGrabbedAnew) {
    std::promise<void> grabbed, goOn;
    _received.inside = [&] {
        EXPECT_TRUE(_source->grab());
        grabbed.set_value();
        goOn.get_future().wait();
    };
    startFaking();
    ASSERT_TRUE(_source->grab());
    grabbed.get_future().wait();
    auto stopped = std::async(std::launch::async, [this] { return _source->freeze(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    goOn.set_value();
    EXPECT_TRUE(stopped.get());
    EXPECT_EQ(_received.count(), 1u);
}

TEST_F(AcquisitionTest, EndRefusesTheGrabOfACallback) {
    std::promise<void> inside;
    _received.inside = [&] {
        inside.set_value();
        while (_source->isRunning()) std::this_thread::yield();
        EXPECT_FALSE(_source->grab());
        EXPECT_TRUE(_source->freeze());  // nothing to report any more
    };
    startFaking();
    ASSERT_TRUE(_source->grab());
    inside.get_future().wait();
    _source->end();
    EXPECT_FALSE(_source->isRunning());
    EXPECT_THAT(_log.errors(), ElementsAre("kest::dorven::TeskImages::grab - failed to start the grab."));
}

TEST_F(AcquisitionTest, DestructionRefusesTheGrabOfACallback) {
    _source.reset();  // both would have the same link to the simulator
    auto source = std::make_unique<kest::dorven::TeskImages>(_event);
    source->setCallback(&_received, &test::ReceivedImages::callback);
    std::promise<void> inside;
    _received.inside = [&, raw = source.get()] {
        inside.set_value();
        while (raw->isRunning()) std::this_thread::yield();
        EXPECT_FALSE(raw->grab());
    };
    startFaking();
    ASSERT_TRUE(source->grab());
    inside.get_future().wait();
    source.reset();
    EXPECT_THAT(_log.errors(), ElementsAre("kest::dorven::TeskImages::grab - failed to start the grab."));
}

TEST_F(AcquisitionTest, OnlyTheWorkerThreadIsTheCallbacks) {
    std::promise<bool> inside;
    _received.inside = [&] { inside.set_value(_source->calledByCallback()); };
    startFaking();
    grabAndPlay();
    EXPECT_TRUE(inside.get_future().get());
    EXPECT_FALSE(_source->calledByCallback());
}

TEST_F(AcquisitionTest, CallbackMayDestroyTheSource) {
    std::promise<void> ended;
    _source.reset();
    _source = std::make_shared<OpenSource>(_event, [&](std::function<void()> function) {
        return std::make_shared<std::thread>([&ended, function = std::move(function)]() mutable {
            function();
            function = nullptr;
            ended.set_value();
        });
    });
    _source->setCallback(&_received, &test::ReceivedImages::callback);
    _received.inside = [this] { _source.reset(); };
    startFaking();
    _event->answer(kTimeout, 5);
    ASSERT_TRUE(_source->grab());
    ended.get_future().wait();
    EXPECT_EQ(_received.count(), 1u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

}  // namespace
