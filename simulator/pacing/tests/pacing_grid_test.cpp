#include "pacing_grid.h"

#include <gtest/gtest.h>

namespace {

using simulator::FrameRate;
using simulator::PacingGrid;

constexpr std::uint64_t kTenPerMicrosecond = 10'000'000;  // periods of 100 ns

TEST(PacingGridTest, FramesAreDueAtWholeMultiplesOfThePeriod) {
    const PacingGrid grid(1000, 4'000'000);
    EXPECT_EQ(grid.dueNs(0), 1000);
    EXPECT_EQ(grid.dueNs(1), 1250);
    EXPECT_EQ(grid.dueNs(7), 2750);
    EXPECT_EQ(grid.periodNs(), 250);
}

TEST(PacingGridTest, DoesNotDriftInADayAtAThousandPerSecond) {
    const PacingGrid grid(5, 1000);
    EXPECT_EQ(grid.dueNs(86'400'000), 5 + 86'400'000'000'000);
}

TEST(PacingGridTest, RateThatIsNoWholePeriodDoesNotDriftInAYear) {
    const PacingGrid grid(0, FrameRate(60'000, 1001));
    EXPECT_EQ(grid.periodNs(), 16'683'333);
    EXPECT_EQ(grid.dueNs(1), 16'683'333);
    EXPECT_EQ(grid.dueNs(2), 33'366'666);
    EXPECT_EQ(grid.dueNs(3), 50'050'000);
    EXPECT_EQ(grid.dueNs(60'000), 1'001'000'000'000);
    EXPECT_EQ(grid.dueNs(60'000 * 31'536ull), 31'536 * 1'001'000'000'000);
    EXPECT_EQ(grid.dueNs(60'000 * 31'536ull + 3), 31'536 * 1'001'000'000'000 + 50'050'000);
}

TEST(PacingGridTest, ExtremeTermsOfARateDoNotOverflow) {
    const PacingGrid grid(0, FrameRate(999'999'999, 1'000'000'000));
    EXPECT_EQ(grid.dueNs(999'999'999), 1'000'000'000'000'000'000);
    EXPECT_EQ(grid.dueNs(999'999'998), 1'000'000'000'000'000'000 - 1'000'000'002);
    EXPECT_EQ(grid.latestAt(1'000'000'000'000'000'000 - 1), 999'999'998u);
}

TEST(PacingGridTest, LatestFrameIsTheInverseOfTheDueTime) {
    for (const FrameRate& rate : {FrameRate(60'000, 1001), FrameRate(3), FrameRate(10'000), FrameRate(1, 100)}) {
        const PacingGrid grid(77, rate);
        for (const std::uint64_t frame : {1u, 2u, 3u, 59u, 1000u, 999'999u}) {
            EXPECT_EQ(grid.latestAt(grid.dueNs(frame)), frame);
            EXPECT_EQ(grid.latestAt(grid.dueNs(frame) - 1), frame - 1);
        }
        EXPECT_EQ(grid.latestAt(76), 0u);
    }
}

TEST(PacingGridTest, FrameIsInTimeUntilItsSuccessorIsDue) {
    const PacingGrid grid(1000, kTenPerMicrosecond);
    EXPECT_EQ(grid.frameToDeliver(3, 1300, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(3, 1399, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(3, 1400, 0), 4u);
}

TEST(PacingGridTest, LateFrameGivesWayToTheLatestThatIsDue) {
    const PacingGrid grid(1000, kTenPerMicrosecond);
    EXPECT_EQ(grid.frameToDeliver(3, 1999, 0), 9u);
    EXPECT_EQ(grid.frameToDeliver(3, 2000, 0), 10u);
}

TEST(PacingGridTest, LateFrameIsMadeUpForWithinTheTolerance) {
    const PacingGrid grid(1000, kTenPerMicrosecond);
    EXPECT_EQ(grid.frameToDeliver(3, 1799, 4), 3u);
    EXPECT_EQ(grid.frameToDeliver(4, 1799, 4), 4u);
    EXPECT_EQ(grid.frameToDeliver(3, 1800, 4), 8u);
    EXPECT_EQ(grid.frameToDeliver(3, 1'000'000'000, UINT64_MAX), 3u);
}

TEST(PacingGridTest, FrameBeforeItsTimeStays) {
    const PacingGrid grid(1000, kTenPerMicrosecond);
    EXPECT_EQ(grid.frameToDeliver(3, 1100, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(3, 900, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(0, 0, 0), 0u);
}

}  // namespace
