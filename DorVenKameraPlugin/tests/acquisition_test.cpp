// The worker thread, wait by wait: time is played by a scripted event, so every case runs at once.
#include <cmath>
#include <future>
#include <limits>
#include <stdexcept>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "TeskImagesRun.h"
#include "log_recorder.h"
#include "received_images.h"
#include "scripted_event.h"
#include "simulator_ring.h"

namespace {

using kest::dorven::ImageLineHeader;
using kest::dorven::TeskImages;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr int kSignal = 1;
constexpr int kTimeout = -1;
constexpr std::size_t kPixelBytes = 64;

const std::string kClosed = "closed connection to image fifo -  DorVenImages";
const std::string kEstablished = "established connection to image fifo -  DorVenImages  writer: 1  reader: 1";
const std::string kFakingText = "no dorven connected, faking images";

std::string noAnswer(int misses) { return "dorven is not responding: " + std::to_string(misses); }

std::string assertion(const std::string& condition, const std::string& message) {
    return "Assertion failed: '" + condition + "', file Dorven/TeskImages, line .*: " + message;
}

/// A source whose record a test may take away.
struct OpenSource : TeskImages {
    using TeskImages::_imageMemory;
    using TeskImages::TeskImages;
};

class AcquisitionTest : public testing::Test {
protected:
    AcquisitionTest() { _source->setCallback(&_received, &test::ReceivedImages::callback); }
    ~AcquisitionTest() override {
        if (_source && _source->isRunning()) _source->freeze();
    }

    /// Grabs, plays the whole script, and leaves the source grabbing.
    void grabAndPlay() {
        ASSERT_TRUE(_source->grab());
        _event->playToEnd();
    }
    /// Goes through the eleven silent waits after which images are faked: one image.
    void startFaking() { _event->answer(kTimeout, 11); }

    /// A signal behind which so many images wait.
    void signalWith(test::SimulatorRing& ring, std::vector<std::uint64_t> counters) {
        _event->step([&ring, counters] {
            for (const std::uint64_t counter : counters) ring.put(counter);
            return kSignal;
        });
    }
    std::vector<std::string> progress() const {
        std::vector<std::string> found;
        for (const std::string& text : _log.traces()) {
            if (text.rfind("kest::dorven::TeskImages", 0) != 0) found.push_back(text);
        }
        return found;
    }

    test::LogRecorder _log;
    test::ReceivedImages _received;
    std::shared_ptr<test::ScriptedEvent> _event = std::make_shared<test::ScriptedEvent>();
    std::shared_ptr<OpenSource> _source = std::make_shared<OpenSource>(_event);
};

// ---- waiting for the simulator, and faking

TEST_F(AcquisitionTest, TenSilentWaitsGiveNoImage) {
    _event->answer(kTimeout, 10);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 0u);
    EXPECT_THAT(_event->timeouts(), Each(2.0));
}

TEST_F(AcquisitionTest, EleventhSilentWaitFakesAnImage) {
    startFaking();
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
    std::vector<std::string> expected;
    for (int i = 0; i <= 10; ++i) expected.push_back(noAnswer(i));
    expected.push_back(kFakingText);
    EXPECT_EQ(progress(), expected);
    std::vector<double> timeouts(11, 2.0);
    timeouts.push_back(0.005);
    EXPECT_EQ(_event->timeouts(), timeouts);
}

TEST_F(AcquisitionTest, FakesOneImageForEachPeriod) {
    _source->_imageMemory->timeStampType = 0;
    startFaking();
    _event->answer(kTimeout, 3);
    grabAndPlay();
    const auto images = _received.images();
    ASSERT_EQ(images.size(), 4u);
    for (std::size_t i = 0; i < images.size(); ++i) {
        EXPECT_EQ(images[i].counter, i + 1);
        EXPECT_EQ(images[i].timeStamp, (i + 1) * 5000);
        EXPECT_EQ(images[i].frameTime, 0.005);
        EXPECT_EQ(images[i].timeStampType, 1);
        EXPECT_EQ(images[i].pixels, images[0].pixels);
    }
    const unsigned char* const pixels = images[0].pixels;
    EXPECT_TRUE(std::all_of(pixels, pixels + 1280 * 1024, [](unsigned char pixel) { return pixel == 10; }));
}

struct Pace {
    double rate;
    std::uint64_t microseconds;
};
class PaceTest : public AcquisitionTest, public testing::WithParamInterface<Pace> {};

TEST_P(PaceTest, FollowsTheFrameRate) {
    _source->setFrameRate(GetParam().rate);
    startFaking();
    _event->answer(kTimeout);
    grabAndPlay();
    const auto images = _received.images();
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(images[1].timeStamp - images[0].timeStamp, GetParam().microseconds);
    EXPECT_EQ(images[1].frameTime, 1.0 / GetParam().rate);
    EXPECT_EQ(_event->timeouts().back(), 1.0 / GetParam().rate);
}
INSTANTIATE_TEST_SUITE_P(Rates, PaceTest,
                         testing::Values(Pace{200.0, 5000}, Pace{100.0, 10000}, Pace{60.0, 16666}, Pace{3.0, 333333},
                                         Pace{2000.0, 500}));

TEST_F(AcquisitionTest, FailedWaitsCountAsSilentOnes) {
    _event->answer(0, 12);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 2u);
}

TEST_F(AcquisitionTest, UnknownWaitStatusIsReportedAndWaitedAgain) {
    _event->answer(7, 2);
    grabAndPlay();
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(assertion("false", "unknown wait status: 7")),
                                           MatchesRegex(assertion("false", "unknown wait status: 7"))));
    EXPECT_THAT(_event->timeouts(), ElementsAre(2.0, 2.0, 2.0));
    EXPECT_EQ(_received.count(), 0u);
}

TEST_F(AcquisitionTest, PaceStaysThatOfTheStartWhileFrameTimeFollows) {
    startFaking();
    _event->step([this] {
        _source->setFrameRate(100.0);
        return kTimeout;
    });
    grabAndPlay();
    const auto images = _received.images();
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(images[1].frameTime, 0.01);
    EXPECT_EQ(images[1].timeStamp - images[0].timeStamp, 5000u);
    EXPECT_EQ(_event->timeouts().back(), 0.005);
    _source->freeze();
    _event->answer(kTimeout, 11);
    grabAndPlay();
    EXPECT_EQ(_event->timeouts().back(), 0.01);
}

TEST_F(AcquisitionTest, RateOfOneIsReportedAndPaced) {
    _source->setFrameRate(1.0);
    startFaking();
    _event->answer(kTimeout);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 2u);
    EXPECT_EQ(_event->timeouts().back(), 1.0);
    const auto report = MatchesRegex(assertion("_frameRate > 1.0", "frame rate not initialized"));
    EXPECT_THAT(_log.errors(), ElementsAre(report, report, report));  // at the start, and for each image
}

TEST_F(AcquisitionTest, PeriodOfALongWaitCountsMissesEvenWhileFaking) {
    _source->setFrameRate(0.5);
    startFaking();
    _event->answer(kTimeout, 10);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_EQ(_received.count(), 2u);
}

TEST_F(AcquisitionTest, RateOfZeroWaitsWithoutEnd) {
    _source->setFrameRate(0.0);
    startFaking();
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
    EXPECT_EQ(_received.images()[0].timeStamp, 0u);
    EXPECT_TRUE(std::isinf(_event->timeouts().back()));
    EXPECT_TRUE(_source->freeze());
}

TEST_F(AcquisitionTest, NegativeRateIsSurvived) {
    _source->setFrameRate(-200.0);
    startFaking();
    grabAndPlay();
    ASSERT_EQ(_received.count(), 1u);
    EXPECT_EQ(_received.images()[0].timeStamp, static_cast<std::uint64_t>(-5000));
    EXPECT_TRUE(_source->freeze());
}

// ---- the fake image

TEST_F(AcquisitionTest, FakeImageHasTheConfiguredSize) {
    _source->_imageMemory->width = 640;
    _source->_imageMemory->height = 480;
    _source->_imageMemory->bytesPerPixel = 2;
    startFaking();
    grabAndPlay();
    const unsigned char* const pixels = _received.images().at(0).pixels;
    EXPECT_TRUE(std::all_of(pixels, pixels + 614400, [](unsigned char pixel) { return pixel == 10; }));
}

TEST_F(AcquisitionTest, FakeImageKeepsWhatTheHostWroteAndGrowsInGrey) {
    _source->_imageMemory->width = 4;
    _source->_imageMemory->height = 1;
    _received.inside = [this] { _source->_imageMemory->imageBuffer[1] = 99; };
    startFaking();
    grabAndPlay();
    ASSERT_TRUE(_source->freeze());
    _received.inside = nullptr;
    _source->_imageMemory->width = 6;
    startFaking();
    grabAndPlay();
    const unsigned char* const pixels = _received.images().at(1).pixels;
    EXPECT_THAT(std::vector<int>(pixels, pixels + 6), ElementsAre(10, 99, 10, 10, 10, 10));
}

TEST_F(AcquisitionTest, ImageWithoutBytesIsReportedAndHandedOver) {
    _source->_imageMemory->width = 0;
    startFaking();
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex("Assertion failed: '_fakeImageMem.size\\(\\) > 0', file "
                                                        "Dorven/TeskImages, line .*: fake image memory not "
                                                        "initialized")));
}

TEST_F(AcquisitionTest, ImpossibleSizeIsReportedAndSurvived) {
    _source->_imageMemory->width = std::numeric_limits<std::uint64_t>::max();
    startFaking();
    grabAndPlay();
    ASSERT_EQ(_log.errors().size(), 2u);
    EXPECT_THAT(_log.errors()[0], HasSubstr("kest::dorven::TeskImages::imageThread() : no fake image of "
                                            "18446744073709551615 bytes"));
    EXPECT_THAT(_log.errors()[1], HasSubstr("_fakeImageMem.size() > 0"));
}

TEST_F(AcquisitionTest, SizeWhoseProductWrapsIsNoSmallImage) {
    _source->_imageMemory->width = _source->_imageMemory->height = std::numeric_limits<std::uint64_t>::max();
    startFaking();
    grabAndPlay();
    ASSERT_EQ(_log.errors().size(), 2u);
    EXPECT_THAT(_log.errors()[0], HasSubstr("no fake image of 18446744073709551615 bytes"));
    EXPECT_THAT(_log.errors()[1], HasSubstr("_fakeImageMem.size() > 0"));
}

TEST_F(AcquisitionTest, MissingRecordIsReportedBeforeTheFrameRate) {
    _source->_imageMemory = nullptr;
    _source->setFrameRate(1.0);
    grabAndPlay();
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(assertion("_imageMemory", "image memory not initialized")),
                                           HasSubstr("frame rate not initialized")));
}

TEST_F(AcquisitionTest, MissingRecordIsReportedAtTheStartAndForEachImage) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _source->_imageMemory = nullptr;
    startFaking();
    signalWith(ring, {1});
    grabAndPlay();
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(assertion("_imageMemory", "image memory not initialized")),
                                           MatchesRegex(assertion("_imageMemory", "image not initialized")),
                                           MatchesRegex(assertion("_imageMemory", "image not initialized"))));
    EXPECT_EQ(_received.count(), 0u);
}

// ---- real images

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
    EXPECT_THAT(_log.errorTraces(), ElementsAre("MSharedMem_Link() failed for 'DorVenImages' (2)"));
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
    EXPECT_STREQ(MSharedMem_GetName(ring.memory()), "DorVenImages");
    EXPECT_EQ(MSharedMem_Unlink(ring.memory()), 1);  // the link that the first opening took and nobody gave back
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
    EXPECT_EQ(MSharedMem_Link("DorVenImages"), nullptr);
}

// ---- a ring that cannot be trusted

class CorruptRingTest : public AcquisitionTest {
protected:
    /// Opens the ring, lets the simulator damage it, and signals twice.
    void damage(std::function<void(LineFifoHeader&)> change) {
        signalWith(_ring, {1});
        _event->step([this, change] {
            _ring.put(2);
            change(_ring.header());
            return kSignal;
        });
        _event->answer(kSignal);
        grabAndPlay();
    }
    void expectOneReport() {
        EXPECT_THAT(_received.counters(), ElementsAre(1u));
        EXPECT_THAT(_log.errors(),
                    ElementsAre("image fifo is inconsistent: a line does not lie in the 5 lines of 88 bytes"));
    }
    test::SimulatorRing _ring{kPixelBytes, 4};
};

TEST_F(CorruptRingTest, LineBeyondTheRingIsNotHandedOut) {
    damage([](LineFifoHeader& header) { header.readIndex = 1000000; });
    expectOneReport();
}

TEST_F(CorruptRingTest, LineOfAnotherLengthIsNotHandedOut) {
    damage([](LineFifoHeader& header) { header.lineLength = 1ull << 40; });
    expectOneReport();
}

TEST_F(CorruptRingTest, LineBetweenTwoSlotsIsNotHandedOut) {
    damage([](LineFifoHeader& header) { header.lineLength = 89; });
    expectOneReport();
}

TEST_F(CorruptRingTest, ImpossibleWriteIndexIsNoLoopWithoutEnd) {
    damage([](LineFifoHeader& header) { header.writeIndex = 1ull << 63; });
    expectOneReport();
}

TEST_F(CorruptRingTest, SlotCountThatChangesIsNoLoopWithoutEnd) {
    damage([](LineFifoHeader& header) { header.slotCount = 1; });
    expectOneReport();
}

TEST_F(CorruptRingTest, NoSlotsAtAllAreNoLoopWithoutEnd) {
    damage([](LineFifoHeader& header) { header.slotCount = 0; });
    expectOneReport();
}

TEST_F(CorruptRingTest, MoreSlotsThanAtTheOpeningAreNotFollowed) {
    damage([](LineFifoHeader& header) { header.slotCount = 1000; });
    expectOneReport();
}

TEST_F(CorruptRingTest, RingLaidAnewInsideTheCallbackIsReadFromItsFirstLine) {
    _received.inside = [this] {
        if (_received.count() != 1) return;
        _ring.lay(2);
        _ring.put(10);  // must not be given back in the place of the line that this callback looks at
    };
    signalWith(_ring, {1, 2, 3});
    signalWith(_ring, {11});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 10u, 11u));
    EXPECT_THAT(_log.errors(), IsEmpty());
    ASSERT_TRUE(_source->freeze());
    MSharedMem_Unlink(_ring.memory());
}

TEST_F(CorruptRingTest, IsReadAgainOnceItIsOpenedAfresh) {
    damage([](LineFifoHeader& header) { header.writeIndex = 99; });
    _event->step([this] {
        _ring.lay(4);
        _ring.put(3);
        return kSignal;
    });
    _event->playToEnd();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 3u));
    ASSERT_TRUE(_source->freeze());
    MSharedMem_Unlink(_ring.memory());
}

class MisfitRingTest : public CorruptRingTest {
protected:
    void openWith(std::uint64_t slotCount, std::uint64_t lineLength) {
        _ring.put(1);
        _ring.header().slotCount = slotCount;
        _ring.header().lineLength = lineLength;
        _event->answer(kSignal, 2);
        grabAndPlay();
        EXPECT_EQ(_received.count(), 0u);
        ASSERT_EQ(_log.errors().size(), 1u);
    }
};

TEST_F(MisfitRingTest, MoreLinesThanFitAreReportedAtTheOpening) {
    openWith(1ull << 50, 88);
    EXPECT_EQ(_log.errors()[0], "image fifo is inconsistent: 1125899906842624 lines of 88 bytes do not fit into " +
                                    std::to_string(MSharedMem_GetSize(_ring.memory())) + " bytes");
}

TEST_F(MisfitRingTest, LinesWhoseProductWrapsAreReportedAtTheOpening) {
    openWith(1ull << 32, 1ull << 32);
    EXPECT_THAT(_log.errors()[0], HasSubstr("do not fit into"));
}

TEST_F(MisfitRingTest, LinesTooShortForTheirHeaderAreNotHandedOut) {
    openWith(5, 23);
    EXPECT_EQ(_log.errors()[0], "image fifo is inconsistent: a line does not lie in the 5 lines of 23 bytes");
}

TEST_F(MisfitRingTest, RingWithoutSlotsHandsOutNothing) {
    openWith(0, 88);
    EXPECT_EQ(_log.errors()[0], "image fifo is inconsistent: a line does not lie in the 0 lines of 88 bytes");
}

// ---- starting and stopping

TEST_F(AcquisitionTest, GrabTracesItsStart) {
    grabAndPlay();
    EXPECT_THAT(_log.traces(),
                testing::IsSupersetOf({"kest::dorven::TeskImages::grab", "kest::dorven::TeskImages::grab - grabbing.",
                                       "kest::dorven::TeskImages::imageThread"}));
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
    EXPECT_EQ(_log.traces().back(), "kest::dorven::TeskImages::~TeskImages");
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

// ---- what a callback may do

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
        const bool grabbed = _source->grab();  // waits behind this callback
        frozen.set_value(_source->freeze() && grabbed);
    };
    startFaking();
    _event->answer(kTimeout, 11);
    ASSERT_TRUE(_source->grab());
    EXPECT_TRUE(frozen.get_future().get());
    EXPECT_FALSE(_source->isRunning());
    _source.reset();
    EXPECT_EQ(_received.count(), 1u);
}

TEST_F(AcquisitionTest, CallbackMayDestroyTheSource) {
    std::promise<void> ended;
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

// ---- units

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
}

TEST(ImageFifo, FrontLineOfNoneIsReportedAndNull) {
    test::LogRecorder log;
    kest::dorven::ImageFifo none;
    EXPECT_EQ(kest::dorven::frontLine(none), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(MatchesRegex(assertion("mem", "image fifo not initialized"))));
    log.clear();
    kest::dorven::closeImageFifo(none);
    kest::dorven::popLine(none);
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST(ImageFifo, FrontLineIsNullOnceTheReaderMarkIsCleared) {
    test::LogRecorder log;
    test::SimulatorRing ring(kPixelBytes, 4);
    auto fifo = kest::dorven::openImageFifo();
    EXPECT_EQ(kest::dorven::frontLine(fifo), nullptr);
    ring.put(1);
    EXPECT_NE(kest::dorven::frontLine(fifo), nullptr);
    MMemLineFifo_Unlink(ring.memory());
    EXPECT_EQ(kest::dorven::frontLine(fifo), nullptr);
    kest::dorven::closeImageFifo(fifo);
    EXPECT_FALSE(fifo);
    EXPECT_EQ(log.traces().back(), kClosed);
    EXPECT_THAT(log.errors(), IsEmpty());
}

}  // namespace
