#include "grab_statistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frames::ImageKind;
using host::GrabResults;
using host::GrabStatistics;
using host::percentile;
using testing::DoubleEq;
using testing::ElementsAre;
using testing::Optional;

frames::Inspection simulated(std::uint64_t number, std::uint64_t timeStampNs) {
    return {
        ImageKind::simulated, frames::Strip{0, number, timeStampNs, 0}
    };
}

TEST(PercentileTest, IsTheSmallestValueThatTheShareDoesNotExceed) {
    std::vector<double> values;
    for (int value = 100; value >= 1; --value) values.push_back(value);
    EXPECT_EQ(percentile(values, 0.50), 50.0);
    EXPECT_EQ(percentile(values, 0.99), 99.0);
    EXPECT_EQ(percentile(values, 1.0), 100.0);
    EXPECT_EQ(percentile(values, 0.0), 1.0);
}

TEST(PercentileTest, OneValueIsEveryPercentileAndNoneHasNone) {
    std::vector<double> one{7.0};
    EXPECT_EQ(percentile(one, 0.5), 7.0);
    EXPECT_EQ(percentile(one, 0.99), 7.0);
    std::vector<double> none;
    EXPECT_EQ(percentile(none, 0.5), std::nullopt);
}

TEST(GrabStatisticsTest, MeasuresNothingWithoutImages) {
    const GrabResults results = GrabStatistics(0).results();
    EXPECT_EQ(results.images, 0u);
    EXPECT_FALSE(results.fpsMean || results.periodP50Us || results.periodP99Us || results.periodMaxUs ||
                 results.latencyP50Us || results.latencyP99Us || results.mbPerS);
}

TEST(GrabStatisticsTest, OneImageHasALatencyButNoPeriod) {
    GrabStatistics statistics(0);
    statistics.add(simulated(1, 1000), 10, 51'000);
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.latencyP50Us, Optional(50.0));
    EXPECT_FALSE(results.periodP50Us || results.periodMaxUs || results.fpsMean || results.mbPerS);
}

TEST(GrabStatisticsTest, EachKindIsCountedOnce) {
    GrabStatistics statistics(0);
    statistics.add(simulated(1, 1), 10, 10);
    statistics.add(simulated(2, 2), 10, 20);
    statistics.add(
        {
            ImageKind::torn, frames::Strip{0, 3, 3, 0}
    },
        10, 30);
    statistics.add({ImageKind::faked, std::nullopt}, 10, 40);
    statistics.add({ImageKind::unverified, std::nullopt}, 10, 50);
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.images, 5u);
    EXPECT_EQ(results.simulated, 2u);
    EXPECT_EQ(results.torn, 1u);
    EXPECT_EQ(results.faked, 1u);
    EXPECT_EQ(results.unverified, 1u);
    EXPECT_EQ(results.lost, 0u) << "a torn frame is there, not lost";
    EXPECT_THAT(statistics.tornFrames(), ElementsAre(3u));
}

TEST(GrabStatisticsTest, PeriodsRateAndDataRateComeFromTheArrivals) {
    GrabStatistics statistics(0);
    std::int64_t arrivalNs = 5'000'000;
    for (std::uint64_t number = 0; number < 101; ++number) {
        statistics.add(simulated(number, number + 1), 1'000'000, arrivalNs);
        arrivalNs += number == 99 ? 30'000'000 : 10'000'000;
    }
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.periodP50Us, Optional(10'000.0));
    EXPECT_THAT(results.periodP99Us, Optional(10'000.0));
    EXPECT_THAT(results.periodMaxUs, Optional(30'000.0));
    EXPECT_THAT(results.fpsMean, Optional(DoubleEq(100 / 1.02)));
    EXPECT_THAT(results.mbPerS, Optional(DoubleEq(100 / 1.02)));
}

TEST(GrabStatisticsTest, LatencyIsMeasuredOverImagesWithAStripAlone) {
    GrabStatistics statistics(0);
    statistics.add(simulated(0, 1000), 10, 11'000);
    statistics.add({ImageKind::faked, std::nullopt}, 10, 900'000'000);
    statistics.add(
        {
            ImageKind::torn, frames::Strip{0, 1, 900'000'000, 0}
    },
        10, 900'030'000);
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.latencyP50Us, Optional(10.0));
    EXPECT_THAT(results.latencyP99Us, Optional(30.0));
}

TEST(GrabStatisticsTest, ImagesFromBeforeTheGrabAreCountedButNeitherTheirLatencyNorTheGapBehindThem) {
    GrabStatistics statistics(1'000'000);
    statistics.add(simulated(5, 100'000), 10, 1'100'000);
    statistics.add(simulated(6, 200'000), 10, 1'200'000);
    statistics.add(simulated(400, 1'500'000), 10, 1'520'000);
    statistics.add(simulated(401, 1'600'000), 10, 1'620'000);
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.images, 4u);
    EXPECT_EQ(results.simulated, 4u);
    EXPECT_EQ(results.lost, 0u);
    EXPECT_THAT(results.latencyP99Us, Optional(20.0));
}

TEST(GrabStatisticsTest, LossRepetitionAndOrderComeFromTheStrips) {
    GrabStatistics statistics(0);
    for (const std::uint64_t number : {1u, 2u, 2u, 5u, 4u, 6u}) statistics.add(simulated(number, number), 10, 100);
    const GrabResults results = statistics.results();
    EXPECT_EQ(results.lost, 1u);
    EXPECT_EQ(results.repeated, 1u);
    EXPECT_EQ(results.reordered, 1u);
}

TEST(GrabStatisticsTest, KeepsTheNumbersOfAHundredTornFrames) {
    GrabStatistics statistics(0);
    for (std::uint64_t number = 0; number < 150; ++number)
        statistics.add(
            {
                ImageKind::torn, frames::Strip{0, number, number, 0}
        },
            10, 100);
    EXPECT_EQ(statistics.results().torn, 150u);
    EXPECT_EQ(statistics.tornFrames().size(), 100u);
    EXPECT_EQ(statistics.tornFrames().back(), 99u);
}

TEST(GrabStatisticsTest, CountsAreTheResultsWithoutPercentiles) {
    GrabStatistics statistics(0);
    for (const std::uint64_t number : {1u, 4u, 5u}) {
        const frames::Strip strip{0, number, number, 0};
        statistics.add({ImageKind::simulated, strip}, 10, static_cast<std::int64_t>(number) * 1'000'000);
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

// The latest million samples make the percentiles, so that memory stays bounded; the greatest period is of all.
TEST(GrabStatisticsTest, PercentilesAreOfTheLatestMillionImages) {
    GrabStatistics statistics(0);
    std::int64_t arrivalNs = 0;
    for (int image = 0; image < 500'000; ++image)
        statistics.add({ImageKind::faked, std::nullopt}, 10, arrivalNs += 2'000'000);
    for (int image = 0; image < 1'000'000; ++image)
        statistics.add({ImageKind::faked, std::nullopt}, 10, arrivalNs += 1'000'000);
    const GrabResults results = statistics.results();
    EXPECT_THAT(results.periodP99Us, Optional(1000.0));
    EXPECT_THAT(results.periodMaxUs, Optional(2000.0));
}

}  // namespace
