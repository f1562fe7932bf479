// The worker thread with a simulator: real images, a ring that appears, disappears and is recreated.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImagesRun.h"
#include "acquisition_fixture.h"
#include "object_names.h"

namespace {

using namespace test::acquisition;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST_F(AcquisitionTest, OneSignalDeliversAllWaitingImagesInOrder) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {7, 8, 9});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(7u, 8u, 9u));
    EXPECT_THAT(progress(), ElementsAre("kest::dorven::openImageFifo", kEstablished, "grabbing from dorven"));
    EXPECT_THAT(_event->timeouts(), ElementsAre(2.0, 2.0));
}

TEST_F(AcquisitionTest, RecordTellsWhatTheSimulatorWrote) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _source->_imageMemory->timeStampType = 0;
    _event->step([&ring] {
        ring.put(0x100000005, 2.5, 0.0123, 77);
        return kSignal;
    });
    grabAndPlay();
    const auto image = _received.images().at(0);
    EXPECT_EQ(image.counter, 5u);
    EXPECT_EQ(image.timeStamp, 2500000u);
    EXPECT_EQ(image.frameTime, 0.0123);
    EXPECT_EQ(image.timeStampType, 1);
    EXPECT_EQ(image.firstPixel, 77);
    EXPECT_EQ(image.pixels, static_cast<unsigned char*>(ring.memory()) + 64 + 24);
}

TEST_F(AcquisitionTest, FrameTimeIsCopiedBitForBit) {
    test::SimulatorRing ring(kPixelBytes, 4);
    // NaNs keep their payload: a quiet one, and one that any arithmetic would change.
    const std::uint64_t payloads[] = {0xFFF8'0000'0000'BEEFu, 0x7FF0'0000'0000'0001u};
    _event->step([&] {
        for (const std::uint64_t payload : payloads) ring.put(1, 0.0, std::bit_cast<double>(payload));
        return kSignal;
    });
    grabAndPlay();
    const auto images = _received.images();
    ASSERT_EQ(images.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(std::bit_cast<std::uint64_t>(images[i].frameTime), payloads[i]);
}

TEST_F(AcquisitionTest, TimeStampsThatAreNoTimeAreZero) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _event->step([&ring] {
        ring.put(1, std::numeric_limits<double>::quiet_NaN());
        ring.put(2, std::numeric_limits<double>::infinity());
        ring.put(3, 1e300);
        return kSignal;
    });
    grabAndPlay();
    for (const auto& image : _received.images()) EXPECT_EQ(image.timeStamp, 0u);
    EXPECT_EQ(_received.count(), 3u);
}

TEST_F(AcquisitionTest, LinesMayLieAtOddAddresses) {
    test::SimulatorRing ring(kPixelBytes + 1, 4);
    _event->step([&ring] {
        ring.put(1, 1.5, 0.25, 1);
        ring.put(2, 2.5, 0.75, 2);
        return kSignal;
    });
    grabAndPlay();
    const auto images = _received.images();
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(images[1].timeStamp, 2500000u);
    EXPECT_EQ(images[1].frameTime, 0.75);
    EXPECT_EQ(images[1].firstPixel, 2);
}

TEST_F(AcquisitionTest, LineIsGivenBackOnlyAfterTheCallback) {
    test::SimulatorRing ring(kPixelBytes, 4);
    std::vector<std::size_t> waiting;
    _received.inside = [&] { waiting.push_back(MMemLineFifo_GetCount(ring.memory())); };
    signalWith(ring, {1, 2});
    grabAndPlay();
    EXPECT_THAT(waiting, ElementsAre(2u, 1u));
    EXPECT_EQ(MMemLineFifo_GetCount(ring.memory()), 0u);
}

TEST_F(AcquisitionTest, WithoutACallbackImagesAreConsumedAllTheSame) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _source->setCallback(&_received, nullptr);
    signalWith(ring, {1, 2});
    grabAndPlay();
    EXPECT_EQ(MMemLineFifo_GetCount(ring.memory()), 0u);
    EXPECT_EQ(_source->_imageMemory->imageCounter, 2u);
    EXPECT_EQ(_received.count(), 0u);
}

TEST_F(AcquisitionTest, ImagesAreReadOnASignalOnly) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {1});
    _event->step([&ring] {
        ring.put(2);
        return kTimeout;
    });
    _event->answer(kTimeout, 5);
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u));
    _event->answer(kSignal);
    _event->playToEnd();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u));
}

TEST_F(AcquisitionTest, SignalWithoutImagesGivesNoCallback) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 0u);
    EXPECT_EQ(_event->timeouts().back(), 2.0);
}

TEST_F(AcquisitionTest, SignalWithoutImagesEndsFakingAllTheSame) {
    test::SimulatorRing ring(kPixelBytes, 4);
    startFaking();
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
    EXPECT_EQ(_event->timeouts().back(), 2.0);
}

TEST_F(AcquisitionTest, SignalWithoutImagesBeginsTheCountOfMissesAnew) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _event->answer(kTimeout, 10);
    _event->answer(kSignal);
    _event->answer(kTimeout, 10);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 0u);
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_EQ(_received.count(), 1u);
}

TEST_F(AcquisitionTest, EachSignalBeginsTheCountOfMissesAnew) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _event->answer(kTimeout, 10);
    signalWith(ring, {1});
    _event->answer(kTimeout, 10);
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u));
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u));
}

TEST_F(AcquisitionTest, ImagesThatWaitWhenTheGrabIsStoppedAreStillHandedOn) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _received.inside = [this] {
        while (_source->isRunning()) std::this_thread::yield();  // until freeze has been called
    };
    signalWith(ring, {1, 2, 3, 4});
    ASSERT_TRUE(_source->grab());
    ASSERT_TRUE(_received.waitFor(1));
    EXPECT_TRUE(_source->freeze());
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u, 3u, 4u));
}

TEST_F(AcquisitionTest, RingThatNeverRunsEmptyDoesNotHoldUpFreeze) {
    test::SimulatorRing ring(kPixelBytes, 4);
    std::uint64_t next = 2;
    _received.inside = [&] { ring.put(next++); };  // one for each that is taken
    signalWith(ring, {1});
    ASSERT_TRUE(_source->grab());
    ASSERT_TRUE(_received.waitFor(100));
    EXPECT_TRUE(_source->freeze());
    const auto counters = _received.counters();
    for (std::size_t i = 0; i < counters.size(); ++i) ASSERT_EQ(counters[i], i + 1);
}

TEST_F(AcquisitionTest, SilenceAfterImagesClosesTheRingAndFakesOn) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {500});
    startFaking();
    _event->answer(kTimeout);
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(500u, 501u, 502u));
    EXPECT_FALSE(ring.hasReader());
    const auto texts = progress();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), kClosed), 1);
    EXPECT_EQ(texts.back(), kClosed);
    EXPECT_EQ(texts.at(texts.size() - 2), kFakingText);
}

TEST_F(AcquisitionTest, OneSignalEndsFakingAtOnce) {
    test::SimulatorRing ring(kPixelBytes, 4);
    startFaking();
    signalWith(ring, {70});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 70u));
    EXPECT_EQ(progress().back(), "grabbing from dorven");
    EXPECT_EQ(_event->timeouts().back(), 2.0);
}

TEST_F(AcquisitionTest, SignalWithoutARingLeavesFakingAsItIs) {
    startFaking();
    _event->answer(kSignal);
    _event->answer(kTimeout);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 2u);
    EXPECT_THAT(_log.errors(), ElementsAre("could not link shared mem for image fifo: DorVenImages"));
    EXPECT_THAT(_log.errorTraces(), Contains("MSharedMem_Link() failed for 'DorVenImages' (2)").Times(1));
    EXPECT_EQ(_event->timeouts().back(), 0.005);
}

TEST_F(AcquisitionTest, SignalWithoutARingLeavesTheCountOfMissesAsItIs) {
    _event->answer(kTimeout, 5);
    _event->answer(kSignal, 2);
    _event->answer(kTimeout, 5);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 0u);
    EXPECT_EQ(_log.errors().size(), 2u);  // each signal tries again
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_EQ(_received.count(), 1u);
}

TEST_F(AcquisitionTest, RingThatIsLaidAnewIsOpenedAnew) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {1});
    _event->step([&ring] {
        ring.lay(4);
        ring.put(2);
        return kSignal;
    });
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u));
    EXPECT_THAT(progress(), Not(Contains(kClosed)));
    ASSERT_TRUE(_source->freeze());
    EXPECT_EQ(progress().back(), kClosed);
    EXPECT_STREQ(MSharedMem_GetName(ring.memory()), image_road::kImagesMemory);
    EXPECT_EQ(MSharedMem_Unlink(ring.memory()), 1);  // the link of the first opening, which nobody returned
}

TEST_F(AcquisitionTest, MemoryWithoutAWriterCanBeOpened) {
    test::SimulatorRing ring(kPixelBytes, 4, false);
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_THAT(progress(), Contains("established connection to image fifo -  DorVenImages  writer: 0  reader: 1"));
    EXPECT_THAT(_log.errors(), IsEmpty());
    _event->step([&ring] {
        ring.lay(4);
        ring.put(3);
        return kSignal;
    });
    _event->playToEnd();
    EXPECT_THAT(_received.counters(), ElementsAre(3u));
    ASSERT_TRUE(_source->freeze());
    MSharedMem_Unlink(ring.memory());
}

TEST_F(AcquisitionTest, SecondReaderIsRefusedAtEachSignal) {
    auto ring = std::make_unique<test::SimulatorRing>(kPixelBytes, 4);
    signalWith(*ring, {1});
    grabAndPlay();
    const auto otherEvent = std::make_shared<test::ScriptedEvent>();
    OpenSource other(otherEvent);
    otherEvent->answer(kSignal, 2);
    ASSERT_TRUE(other.grab());
    otherEvent->playToEnd();
    EXPECT_THAT(_log.errors(), ElementsAre("could not link image line fifo: DorVenImages",
                                           "could not link image line fifo: DorVenImages"));
    other.freeze();
    ASSERT_TRUE(_source->freeze());
    const void* const memory = ring->memory();
    ring.reset();
    EXPECT_EQ(MSharedMem_GetName(memory), nullptr);  // every refused opening gave its link back
}

TEST_F(AcquisitionTest, SourceNeverCreatesTheMemory) {
    _event->answer(kSignal);
    startFaking();
    grabAndPlay();
    EXPECT_EQ(MSharedMem_Link(image_road::kImagesMemory), nullptr);
}

TEST(Microseconds, AreCutToWholeOnes) {
    using kest::dorven::microseconds;
    EXPECT_EQ(microseconds(1.5), 1500000u);
    EXPECT_EQ(microseconds(0.0000019), 1u);
    EXPECT_EQ(microseconds(-1.0), static_cast<std::uint64_t>(-1000000));
    EXPECT_EQ(microseconds(std::numeric_limits<double>::infinity()), 0u);
    EXPECT_EQ(microseconds(-std::numeric_limits<double>::infinity()), 0u);
    EXPECT_EQ(microseconds(std::numeric_limits<double>::quiet_NaN()), 0u);
    EXPECT_EQ(microseconds(1e300), 0u);
    EXPECT_EQ(microseconds(9.2e12), 9200000000000000000u);
    EXPECT_EQ(microseconds(1e13), 10000000000000000000u);
    EXPECT_EQ(microseconds(0x1p63 / 1e6), 1ull << 63);
    EXPECT_EQ(microseconds(18446744073709.5), 18446744073709500416u);  // among the last that fit
    EXPECT_EQ(microseconds(18446744073709.6), 0u);
    EXPECT_EQ(microseconds(-9.3e12), 0u);
}

}  // namespace
