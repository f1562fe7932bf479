#include "time_histogram.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::TimeHistogram;
using testing::Optional;

TEST(TimeHistogramTest, TellsNothingOfNothing) {
    const TimeHistogram histogram;
    EXPECT_EQ(histogram.count(), 0u);
    EXPECT_EQ(histogram.percentileUs(0.5), std::nullopt);
    EXPECT_EQ(histogram.spreadUs(0.99), std::nullopt);
    EXPECT_EQ(histogram.maxUs(), std::nullopt);
}

TEST(TimeHistogramTest, OneTimeIsEveryPercentileExactly) {
    TimeHistogram histogram;
    histogram.add(10'000'123);
    for (const double share : {0.0, 0.5, 0.99, 1.0}) EXPECT_THAT(histogram.percentileUs(share), Optional(10'000.123));
    EXPECT_THAT(histogram.maxUs(), Optional(10'000.123));
    EXPECT_THAT(histogram.spreadUs(1.0), Optional(0.0));
}

TEST(TimeHistogramTest, PercentileIsTheSmallestTimeThatTheShareDoesNotExceed) {
    TimeHistogram histogram;
    for (int value = 100; value >= 1; --value) histogram.add(value);
    EXPECT_THAT(histogram.percentileUs(0.50), Optional(0.050));
    EXPECT_THAT(histogram.percentileUs(0.99), Optional(0.099));
    EXPECT_THAT(histogram.percentileUs(1.0), Optional(0.100));
    EXPECT_THAT(histogram.percentileUs(0.0), Optional(0.001));
}

TEST(TimeHistogramTest, TimesBelowEightMicrosecondsAreExact) {
    TimeHistogram histogram;
    for (const int value : {0, 1, 4095, 4096, 8191}) histogram.add(value);
    EXPECT_THAT(histogram.percentileUs(0.2), Optional(0.0));
    EXPECT_THAT(histogram.percentileUs(0.4), Optional(0.001));
    EXPECT_THAT(histogram.percentileUs(0.6), Optional(4.095));
    EXPECT_THAT(histogram.percentileUs(0.8), Optional(4.096));
    EXPECT_THAT(histogram.percentileUs(1.0), Optional(8.191));
}

// Compared with a sorted list of the same times, over eleven orders of magnitude.
TEST(TimeHistogramTest, PercentilesAreAtMostOneFourThousandthTooGreat) {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> exponent(0.0, 11.0);
    std::vector<std::int64_t> times(20'480);
    TimeHistogram histogram;
    for (std::int64_t& time : times) histogram.add(time = static_cast<std::int64_t>(std::pow(10.0, exponent(random))));
    std::sort(times.begin(), times.end());
    for (int part = 1; part <= 1024; ++part) {
        const auto rank = static_cast<std::size_t>(part) * times.size() / 1024;
        const double exact = static_cast<double>(times[rank - 1]) / 1000.0;
        const double told = histogram.percentileUs(part / 1024.0).value();
        ASSERT_GE(told, exact * (1 - 1e-12)) << part;
        ASSERT_LE(told, exact * (1 + 1.0 / 4096) * (1 + 1e-12)) << part;
    }
}

TEST(TimeHistogramTest, SpreadIsTheDistanceFromTheMedianOnBothSides) {
    TimeHistogram histogram;
    for (int count = 0; count < 90; ++count) histogram.add(1000);
    for (int count = 0; count < 5; ++count) histogram.add(700);
    for (int count = 0; count < 4; ++count) histogram.add(1500);
    histogram.add(5000);
    EXPECT_THAT(histogram.spreadUs(0.90), Optional(0.0));
    EXPECT_THAT(histogram.spreadUs(0.95), Optional(0.3));
    EXPECT_THAT(histogram.spreadUs(0.99), Optional(0.5));
    EXPECT_THAT(histogram.spreadUs(1.0), Optional(4.0));
}

TEST(TimeHistogramTest, TimesBeyondItsRangeCountAsItsEnds) {
    TimeHistogram histogram;
    histogram.add(std::numeric_limits<std::int64_t>::min());
    histogram.add(std::numeric_limits<std::int64_t>::max());
    EXPECT_THAT(histogram.percentileUs(0.5), Optional(0.0));
    EXPECT_THAT(histogram.maxUs(), Optional(std::ldexp(1.0, 62) / 1000));
    EXPECT_THAT(histogram.percentileUs(1.0), Optional(std::ldexp(1.0, 62) / 1000));
}

TEST(TimeHistogramTest, ClearedOneBeginsAnew) {
    TimeHistogram histogram;
    histogram.add(50'000'000);
    histogram.add(3);
    histogram.clear();
    EXPECT_EQ(histogram.count(), 0u);
    EXPECT_EQ(histogram.maxUs(), std::nullopt);
    histogram.add(7'000);
    EXPECT_THAT(histogram.percentileUs(0.0), Optional(7.0));
    EXPECT_THAT(histogram.maxUs(), Optional(7.0));
}

}  // namespace
