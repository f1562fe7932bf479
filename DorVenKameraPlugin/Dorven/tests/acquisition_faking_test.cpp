// The worker thread without a simulator: waiting, and faking at the frame rate.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <future>
#include <limits>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "acquisition_fixture.h"

namespace {

using namespace test::acquisition;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::uint64_t kLargestFakeImage = 1ull << 32;

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
void PrintTo(const Pace& pace, std::ostream* stream) { *stream << pace.rate; }

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

// ---- an event that cannot be waited for: its waits fail at once

constexpr int kFailed = 0;
const std::string kCannotWait =
    "kest::dorven::TeskImages::imageThread() : waiting for the image event failed, so no image of the simulator can "
    "arrive. Check that the name \"DorVenImagesEvent\" is free, and open the camera again.";
const std::string kCanWait = "kest::dorven::TeskImages::imageThread() : the image event can be waited for again.";

TEST_F(AcquisitionTest, FailedWaitsCountAsSilentOnesAndTakeTheTimeOfTheTimeout) {
    std::vector<double> rests;
    _source->_rest = [&](double seconds) { rests.push_back(seconds); };
    _event->answer(kFailed, 4);
    grabAndPlay();
    ASSERT_GT(rests.size(), 1000u);
    EXPECT_THAT(std::vector<double>(rests.begin(), rests.begin() + 11), Each(2.0));
    EXPECT_THAT(std::vector<double>(rests.begin() + 11, rests.end()), Each(0.005));
    EXPECT_EQ(_received.count(), rests.size() - 10);  // the eleventh silent wait fakes the first
    // Each failed wait leaves an entry in the error trace, so the time until the next wait for the event doubles each
    // time.
    EXPECT_THAT(_event->timeouts(), ElementsAre(2.0, 2.0, 2.0, 2.0, 0.005));
}

TEST_F(AcquisitionTest, EventThatCannotBeWaitedForIsReportedOnceAndOnceWhenItCanBe) {
    _source->_rest = [](double) {};
    _event->answer(kFailed, 4);
    _event->answer(kTimeout, 3);
    grabAndPlay();
    EXPECT_THAT(_log.errors(), ElementsAre(kCannotWait, kCanWait));
    _event->answer(kFailed, 2);
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_THAT(_log.errors(), ElementsAre(kCannotWait, kCanWait, kCannotWait, kCanWait));
}

TEST_F(AcquisitionTest, EventThatNeverCanBeWaitedForIsAskedAboutOnceAMinute) {
    double seconds = 0.0;
    std::promise<void> tenMinutes;
    _source->_rest = [&](double rest) {
        if (seconds < 600.0 && (seconds += rest) >= 600.0) tenMinutes.set_value();
    };
    _event->answer(kFailed, 100);
    ASSERT_TRUE(_source->grab());
    tenMinutes.get_future().wait();
    EXPECT_TRUE(_source->freeze());
    EXPECT_LE(_event->timeouts().size(), 20u);
}

TEST_F(AcquisitionTest, EventThatCannotBeWaitedForIsReportedOnceAtTheHighestRate) {
    std::vector<double> rests;
    _source->setFrameRate(std::numeric_limits<double>::infinity());
    _source->_rest = [&](double seconds) { rests.push_back(seconds); };
    startFaking();
    _event->answer(kFailed, 5);
    grabAndPlay();
    EXPECT_THAT(_log.errors(), ElementsAre(kCannotWait));
    EXPECT_THAT(rests, testing::AllOf(testing::Not(IsEmpty()), Each(testing::Gt(0.0))));
}

TEST_F(AcquisitionTest, FreezeEndsTheTimeOfAFailedWait) {
    std::promise<void> failing;
    _source->setFrameRate(0.0);  // waits without end
    startFaking();
    _event->step([&] {
        failing.set_value();
        return kFailed;
    });
    ASSERT_TRUE(_source->grab());
    failing.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(_source->freeze());
    EXPECT_EQ(_received.count(), 1u);
}

// ---- the rest of the waits

TEST_F(AcquisitionTest, UnknownWaitStatusIsReportedAndWaitedAgain) {
    _event->answer(7, 2);
    grabAndPlay();
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(assertion("false", "unknown wait status: 7")),
                                           MatchesRegex(assertion("false", "unknown wait status: 7"))));
    EXPECT_THAT(_event->timeouts(), ElementsAre(2.0, 2.0, 2.0));
    EXPECT_THAT(progress(), IsEmpty());  // it counts as no silence
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

TEST_F(AcquisitionTest, PeriodOfExactlyTheLimitCountsMisses) {
    _source->setFrameRate(0.625);  // 1.6 s, to the last bit
    startFaking();
    _event->answer(kTimeout, 10);
    grabAndPlay();
    EXPECT_EQ(_event->timeouts().back(), 1.6);
    EXPECT_EQ(_received.count(), 1u);
    _event->answer(kTimeout);
    _event->playToEnd();
    EXPECT_EQ(_received.count(), 2u);
}

TEST_F(AcquisitionTest, PeriodJustBelowTheLimitFakesEachTime) {
    _source->setFrameRate(0.626);
    startFaking();
    _event->answer(kTimeout, 3);
    grabAndPlay();
    EXPECT_EQ(_received.count(), 4u);
    EXPECT_EQ(_event->timeouts().back(), 1.0 / 0.626);
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

TEST_F(AcquisitionTest, RateThatIsNoNumberWaitsWithoutEnd) {
    _source->setFrameRate(std::numeric_limits<double>::quiet_NaN());
    startFaking();
    grabAndPlay();
    EXPECT_EQ(_received.count(), 1u);
    EXPECT_EQ(_received.images()[0].timeStamp, 0u);
    EXPECT_TRUE(std::isinf(_event->timeouts().back()));
    EXPECT_GT(_event->timeouts().back(), 0.0);
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

TEST_F(AcquisitionTest, FakeImageOfManyMegabytesIsGreyAndKeepsWhatTheHostWrote) {
    constexpr std::size_t kMebibyte = 1u << 20;
    _source->_imageMemory->width = 40 * kMebibyte;
    _source->_imageMemory->height = 1;
    _received.inside = [this] { _source->_imageMemory->imageBuffer[17 * kMebibyte] = 99; };
    startFaking();
    grabAndPlay();
    ASSERT_TRUE(_source->freeze());
    _received.inside = nullptr;
    _source->_imageMemory->width = 50 * kMebibyte + 1;
    startFaking();
    grabAndPlay();
    const unsigned char* const pixels = _received.images().at(1).pixels;
    EXPECT_EQ(std::count(pixels, pixels + 50 * kMebibyte + 1, 10), static_cast<std::ptrdiff_t>(50 * kMebibyte));
    EXPECT_EQ(pixels[17 * kMebibyte], 99);
}

TEST_F(AcquisitionTest, FreezeEndsTheFillOfTheLargestFakeImageBeforeItIsDone) {
    _source->_imageMemory->width = kLargestFakeImage;
    _source->_imageMemory->height = 1;
    ASSERT_TRUE(_source->grab());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(_source->freeze());
    EXPECT_TRUE(_source->_fakeImageMem.empty());  // a fill that is done is kept for the next grab
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(AcquisitionTest, FakeImageBeyondTheLargestIsReportedAndRealOnesComeAllTheSame) {
    test::SimulatorRing ring(kPixelBytes, 4);
    _source->_imageMemory->width = kLargestFakeImage + 1;
    _source->_imageMemory->height = 1;
    signalWith(ring, {1, 2});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u));
    EXPECT_THAT(_log.errors(), ElementsAre("kest::dorven::TeskImages::imageThread() : no fake image of 4294967297 "
                                           "bytes: more than 4294967296"));
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

}  // namespace
