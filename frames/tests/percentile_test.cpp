#include "percentile.h"

#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frames::percentile;
using frames::percentileRank;
using testing::Optional;

std::vector<double> fallingTo1(int count) {
    std::vector<double> values(static_cast<std::size_t>(count));
    std::iota(values.rbegin(), values.rend(), 1.0);
    return values;
}

TEST(PercentileTest, NoneWithoutValuesAndTheValueOfASingleOne) {
    std::vector<double> none;
    EXPECT_EQ(percentile(none, 0.99), std::nullopt);
    std::vector<double> one{7.0};
    for (const double share : {0.0, 0.5, 0.99, 1.0}) EXPECT_THAT(percentile(one, share), Optional(7.0));
}

TEST(PercentileTest, IsTheSmallestValueThatTheShareDoesNotExceed) {
    std::vector<double> hundred = fallingTo1(100);
    EXPECT_THAT(percentile(hundred, 0.99), Optional(99.0)) << "99 of 100 do not exceed it: not the maximum";
    EXPECT_THAT(percentile(hundred, 0.50), Optional(50.0));
    EXPECT_THAT(percentile(hundred, 1.0), Optional(100.0));
    EXPECT_THAT(percentile(hundred, 0.0), Optional(1.0));
    std::vector<double> three = fallingTo1(3);
    EXPECT_THAT(percentile(three, 0.50), Optional(2.0));
    EXPECT_THAT(percentile(three, 0.99), Optional(3.0));
}

TEST(PercentileTest, RankIsExactWhereShareAndCountMakeAWholeNumber) {
    for (std::uint64_t hundreds = 1; hundreds <= 10'000; ++hundreds) {
        for (const std::uint64_t percent : {1u, 7u, 50u, 57u, 99u})
            ASSERT_EQ(percentileRank(static_cast<double>(percent) / 100, 100 * hundreds), percent * hundreds);
    }
}

}  // namespace
