#include "grab_statistics.h"

#include <initializer_list>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frames::ImageKind;
using host::GrabResults;
using host::GrabStatistics;
using host::ReceivedImage;
using testing::DoubleEq;
using testing::DoubleNear;
using testing::Optional;

ReceivedImage image(ImageKind kind, std::int64_t arrivalNs, std::optional<frames::Strip> strip = {},
                    std::size_t bytes = 10) {
    ReceivedImage received;
    received.inspection = {kind, strip};
    received.format = {bytes, 1, 1};
    received.counter = strip ? static_cast<std::uint32_t>(strip->frameNumber) : 0;
    received.arrivalNs = arrivalNs;
    return received;
}

ReceivedImage simulated(std::uint64_t number, std::uint64_t timeStampNs, std::int64_t arrivalNs,
                        std::size_t bytes = 10) {
    return image(ImageKind::simulated, arrivalNs, frames::Strip{0, number, timeStampNs, 0}, bytes);
}

GrabStatistics begun(std::int64_t startNs) { return GrabStatistics({startNs, {}, 100}); }

TEST(GrabStatisticsTest, MeasuresNothingWithoutImages) {
    const GrabResults results = begun(0).results();
    EXPECT_EQ(results.images, 0u);
    EXPECT_FALSE(results.fpsMean || results.periodP50Us || results.periodP99Us || results.periodMaxUs ||
                 results.latencyP50Us || results.latencyP99Us || results.mbPerS);
}

TEST(GrabStatisticsTest, OneImageHasALatencyButNoPeriod) {
    GrabStatistics statistics = begun(0);
    statistics.add(simulated(1, 1000, 51'000, 10));
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.latencyP50Us, Optional(50.0));
    EXPECT_FALSE(results.periodP50Us || results.periodMaxUs || results.fpsMean || results.mbPerS);
}

TEST(GrabStatisticsTest, EachKindIsCountedOnce) {
    GrabStatistics statistics = begun(0);
    statistics.add(simulated(1, 1, 10, 10));
    statistics.add(simulated(2, 2, 20, 10));
    statistics.add(image(ImageKind::torn, 30, frames::Strip{0, 3, 3, 0}));
    statistics.add(image(ImageKind::faked, 40));
    statistics.add(image(ImageKind::unverified, 50));
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.images, 5u);
    EXPECT_EQ(results.simulated, 2u);
    EXPECT_EQ(results.torn, 1u);
    EXPECT_EQ(results.faked, 1u);
    EXPECT_EQ(results.unverified, 1u);
    EXPECT_EQ(results.lost, 0u) << "a torn frame is there, not lost";
}

TEST(GrabStatisticsTest, PeriodsRateAndDataRateComeFromTheArrivals) {
    GrabStatistics statistics = begun(0);
    std::int64_t arrivalNs = 5'000'000;
    for (std::uint64_t number = 0; number < 101; ++number) {
        statistics.add(simulated(number, number + 1, arrivalNs, 1'000'000));
        arrivalNs += number == 99 ? 30'000'000 : 10'000'000;
    }
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.periodP50Us, Optional(DoubleNear(10'000.0, 2.5)));
    EXPECT_THAT(results.periodP99Us, Optional(DoubleNear(10'000.0, 2.5)));
    EXPECT_THAT(results.periodMaxUs, Optional(30'000.0));
    EXPECT_THAT(results.fpsMean, Optional(DoubleEq(100 / 1.02)));
    EXPECT_THAT(results.mbPerS, Optional(DoubleEq(100 / 1.02)));
}

TEST(GrabStatisticsTest, LatencyIsMeasuredOverImagesWithAStripAlone) {
    GrabStatistics statistics = begun(0);
    statistics.add(simulated(0, 1000, 11'000, 10));
    statistics.add(image(ImageKind::faked, 900'000'000));
    statistics.add(image(ImageKind::torn, 900'030'000, frames::Strip{0, 1, 900'000'000, 0}));
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.latencyP50Us, Optional(DoubleNear(10.0, 0.003)));
    EXPECT_THAT(results.latencyP99Us, Optional(30.0));
}

TEST(GrabStatisticsTest, ImagesFromBeforeTheGrabAreStaleAndNoOtherNumberKnowsThem) {
    GrabStatistics statistics = begun(1'000'000);
    EXPECT_TRUE(statistics.add(simulated(5, 100'000, 1'100'000, 10)).fromBefore);
    ReceivedImage torn = simulated(6, 200'000, 1'200'000, 11);
    torn.inspection.kind = ImageKind::torn;
    EXPECT_TRUE(statistics.add(torn).fromBefore);
    EXPECT_EQ(statistics.images(), 0u);
    EXPECT_FALSE(statistics.add(simulated(400, 1'500'000, 1'520'000, 10)).fromBefore);
    statistics.add(simulated(401, 1'600'000, 1'620'000, 10));
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.images, 2u);
    EXPECT_EQ(results.simulated, 2u);
    EXPECT_EQ(results.torn + results.format + results.counter + results.lost, 0u);
    EXPECT_EQ(results.stale, 2u);
    EXPECT_THAT(results.latencyP99Us, Optional(20.0));
}

TEST(GrabStatisticsTest, RatePeriodAndJitterBeginAtTheFirstFreshImage) {
    GrabStatistics statistics = begun(1'000'000'000);
    for (std::uint64_t number = 0; number < 100; ++number)  // all at once, from the ring
        statistics.add(simulated(number, 1000 * (number + 1), 1'000'100'000 + static_cast<std::int64_t>(number)));
    for (std::uint64_t number = 200; number <= 300; ++number)
        statistics.add(simulated(number, number * 10'000'000, static_cast<std::int64_t>(number) * 10'000'000 + 50));
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.fpsMean, Optional(DoubleEq(100.0)));
    EXPECT_THAT(results.periodP50Us, Optional(DoubleNear(10'000.0, 2.5)));
    EXPECT_THAT(results.jitterP99Us, Optional(DoubleNear(0.0, 0.1)));
    EXPECT_EQ(results.stale, 100u);
}

TEST(GrabStatisticsTest, TheStripOfTheFirstVerifiedImageIsKept) {
    GrabStatistics statistics = begun(0);
    ReceivedImage received = image(ImageKind::torn, 30, frames::Strip{0, 3, 3, 0});
    received.inspection.layout = frames::stripLayout({640, 480, 1});
    statistics.add(received);
    EXPECT_EQ(statistics.results().strip.lines, 0u);
    for (const std::size_t height : {16u, 17u}) {
        received.inspection.kind = ImageKind::simulated;
        received.format = {512, height, 1};
        received.inspection.layout = frames::stripLayout(received.format);
        statistics.add(received);
    }
    EXPECT_EQ(statistics.results().verifiedFormat, (frames::ImageFormat{512, 16, 1}));
    EXPECT_EQ(statistics.results().strip, frames::stripLayout({512, 16, 1}));
}

// Stretches of a hundred images each, with these gaps between them.
GrabStatistics withGaps(std::initializer_list<std::int64_t> gapsNs, std::int64_t periodNs = 10'000'000) {
    GrabStatistics statistics = begun(0);
    std::int64_t arrivalNs = 5;
    const auto addHundred = [&] {
        for (int number = 0; number < 100; ++number)
            statistics.add(image(ImageKind::faked, arrivalNs += number == 0 ? 0 : periodNs, {}, 1'000'000));
    };
    addHundred();
    for (const std::int64_t gapNs : gapsNs) {
        arrivalNs += gapNs;
        addHundred();
    }
    return statistics;
}

TEST(GrabStatisticsTest, PausesAreCountedAndLeftOutOfTheMeanRates) {
    const GrabResults results = withGaps({2'000'000'001, 30'000'000'000}).results();
    EXPECT_EQ(results.images, 300u);
    EXPECT_EQ(results.pauses, 2u);
    EXPECT_THAT(results.pauseS, Optional(DoubleEq(32.000000001)));
    EXPECT_THAT(results.fpsMean, Optional(DoubleEq(100.0)));
    EXPECT_THAT(results.mbPerS, Optional(DoubleEq(100.0)));
    EXPECT_THAT(results.periodMaxUs, Optional(30'000'000.0)) << "a pause is a period too";
}

TEST(GrabStatisticsTest, GapOfTwoSecondsIsNoPause) {
    const GrabResults results = withGaps({2'000'000'000}).results();
    EXPECT_EQ(results.pauses, 0u);
    EXPECT_THAT(results.pauseS, Optional(0.0));
    EXPECT_THAT(results.fpsMean, Optional(DoubleEq(199 / (2 * 0.99 + 2.0))));
}

TEST(GrabStatisticsTest, GapOfASlowCameraIsAPauseFromThreeMedianPeriodsOn) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    const GrabResults slow = withGaps({2900'000'000}, kSecond).results();
    EXPECT_EQ(slow.pauses, 0u);
    const GrabResults paused = withGaps({3100'000'000}, kSecond).results();
    EXPECT_EQ(paused.pauses, 1u);
    EXPECT_THAT(paused.fpsMean, Optional(DoubleEq(1.0)));
}

TEST(GrabStatisticsTest, TimeWithoutAnImageBeforeTheEndIsAPauseToo) {
    GrabStatistics statistics = withGaps({});
    const std::int64_t lastNs = 5 + 99 * 10'000'000;
    statistics.waitedUntil(lastNs + 2'000'000'000);
    EXPECT_EQ(statistics.results().pauses, 0u);
    statistics.waitedUntil(lastNs + 7'000'000'000);
    EXPECT_EQ(statistics.results().pauses, 1u);
    EXPECT_THAT(statistics.results().pauseS, Optional(DoubleEq(7.0)));
    EXPECT_THAT(statistics.results().fpsMean, Optional(DoubleEq(100.0)));
}

TEST(GrabStatisticsTest, WithoutAMedianPeriodNothingIsAPause) {
    GrabStatistics statistics = begun(0);
    EXPECT_EQ(statistics.results().pauseS, std::nullopt);
    statistics.waitedUntil(60'000'000'000);
    EXPECT_EQ(statistics.results().pauses, 0u);
    statistics.add(image(ImageKind::faked, 1));
    EXPECT_EQ(statistics.results().pauses, 0u);
    EXPECT_THAT(statistics.results().pauseS, Optional(0.0));
}

TEST(GrabStatisticsTest, ReasonsOfUnverifiedImagesAreCounted) {
    GrabStatistics statistics = begun(0);
    for (const auto reason :
         {frames::Unverified::withoutStrip, frames::Unverified::tooSmall, frames::Unverified::withoutStrip}) {
        ReceivedImage unverified = image(ImageKind::unverified, 30);
        unverified.inspection.unverified = reason;
        statistics.add(unverified);
    }
    const auto because = statistics.results().unverifiedBecause;
    EXPECT_EQ(because[static_cast<std::size_t>(frames::Unverified::withoutStrip)], 2u);
    EXPECT_EQ(because[static_cast<std::size_t>(frames::Unverified::tooSmall)], 1u);
}

TEST(GrabStatisticsTest, LossRepetitionAndOrderComeFromTheStrips) {
    GrabStatistics statistics = begun(0);
    for (const std::uint64_t number : {1u, 2u, 2u, 5u, 4u, 6u}) statistics.add(simulated(number, number, 100, 10));
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.lost, 1u);
    EXPECT_EQ(results.repeated, 1u);
    EXPECT_EQ(results.reordered, 1u);
}

TEST(GrabStatisticsTest, CountsAreTheResultsWithoutPercentiles) {
    GrabStatistics statistics = begun(0);
    for (const std::uint64_t number : {1u, 4u, 5u}) {
        const frames::Strip strip{0, number, number, 0};
        statistics.add(image(ImageKind::simulated, static_cast<std::int64_t>(number) * 1'000'000, strip));
    }
    const GrabResults counts = statistics.counts();
    EXPECT_EQ(counts.images, 3u);
    EXPECT_EQ(counts.simulated, 3u);
    EXPECT_EQ(counts.lost, 2u);
    EXPECT_THAT(counts.fpsMean, Optional(500.0));
    EXPECT_EQ(counts.mbPerS, statistics.results().mbPerS);
    EXPECT_EQ(counts.periodP50Us, std::nullopt);
    EXPECT_NE(statistics.results().periodP50Us, std::nullopt);
}

// All images count, however many there are, in memory that does not grow.
TEST(GrabStatisticsTest, PercentilesAreOfAllImages) {
    GrabStatistics statistics = begun(0);
    std::int64_t arrivalNs = 0;
    for (int number = 0; number < 100'000; ++number)
        statistics.add(image(ImageKind::faked, arrivalNs += number < 60'000 ? 2'000'000 : 1'000'000));
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.periodP50Us, Optional(2000.0));
    EXPECT_THAT(results.periodP99Us, Optional(2000.0));
    EXPECT_THAT(results.periodMaxUs, Optional(2000.0));
    EXPECT_THAT(results.jitterP99Us, Optional(DoubleNear(1000.0, 0.3)));
}

TEST(GrabStatisticsTest, EachImageIsToldWithItsNumberPeriodAndLatency) {
    GrabStatistics statistics = begun(0);
    auto told = statistics.add(simulated(7, 1000, 51'000));
    EXPECT_EQ(told.number, 7u);
    EXPECT_EQ(told.periodNs, std::nullopt);
    EXPECT_EQ(told.latencyNs, 50'000);
    told = statistics.add(image(ImageKind::faked, 61'000));
    EXPECT_EQ(told.number, std::nullopt);
    EXPECT_EQ(told.periodNs, 10'000);
    EXPECT_EQ(told.latencyNs, std::nullopt);
}

TEST(GrabStatisticsTest, IntervalHasWhatArrivedSinceTheLastExchange) {
    GrabStatistics statistics = begun(0);
    host::IntervalSamples interval;
    statistics.add(simulated(0, 1000, 1'001'000, 2'000'000));
    statistics.add(simulated(1, 2'000'000, 2'001'000, 2'000'000));
    statistics.exchangeInterval(interval);
    GrabResults measures = interval.measures(0.5);
    EXPECT_THAT(measures.fpsMean, Optional(4.0));
    EXPECT_THAT(measures.mbPerS, Optional(8.0));
    EXPECT_THAT(measures.periodMaxUs, Optional(1000.0));
    EXPECT_THAT(measures.latencyMaxUs, Optional(1000.0));
    interval.clear();
    statistics.add(simulated(2, 2'500'000, 2'503'000));
    statistics.exchangeInterval(interval);
    measures = interval.measures(1.0);
    EXPECT_THAT(measures.fpsMean, Optional(1.0));
    EXPECT_THAT(measures.periodMaxUs, Optional(502.0)) << "since the image of the interval before";
    EXPECT_THAT(measures.latencyMaxUs, Optional(3.0));
    interval.clear();
    statistics.exchangeInterval(interval);
    EXPECT_THAT(interval.measures(1.0).fpsMean, Optional(0.0));
    EXPECT_FALSE(interval.measures(1.0).periodP50Us || interval.measures(0.0).fpsMean);
}

TEST(GrabStatisticsTest, JitterIsTheDistanceFromTheMedianPeriod) {
    GrabStatistics statistics = begun(0);
    std::int64_t arrivalNs = 1'000'000;
    statistics.add(image(ImageKind::faked, arrivalNs));
    for (int number = 0; number < 98; ++number) statistics.add(image(ImageKind::faked, arrivalNs += 4000));
    statistics.add(image(ImageKind::faked, arrivalNs += 3000));
    statistics.add(image(ImageKind::faked, arrivalNs += 8000));
    EXPECT_THAT(statistics.results().jitterP99Us, Optional(1.0));
    EXPECT_THAT(statistics.results().periodMaxUs, Optional(8.0));
}

TEST(GrabStatisticsTest, FindingsAreCounted) {
    GrabStatistics statistics({0, 5000, 100});
    statistics.add(simulated(5, 1000, 2000));
    statistics.add(simulated(7, 2000, 9000));
    statistics.add(simulated(8, 1500, 9000));
    statistics.stopped();
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.late, 1u);
    EXPECT_EQ(results.timeBack, 1u);
    EXPECT_EQ(results.stopped, 1u);
    EXPECT_EQ(results.stale + results.format + results.counter + results.restarts, 0u);
    EXPECT_THAT(results.lateFromUs, Optional(5.0));
    EXPECT_EQ(results.sight, (host::FrameRange{5, 8}));
}

}  // namespace
