#include "pacing_grid.h"

#include <gtest/gtest.h>

namespace {

using simulator::PacingGrid;
using simulator::periodOf;

TEST(PacingGridTest, FramesAreDueAtWholeMultiplesOfThePeriod) {
    const PacingGrid grid(1000, 250);
    EXPECT_EQ(grid.dueNs(0), 1000);
    EXPECT_EQ(grid.dueNs(1), 1250);
    EXPECT_EQ(grid.dueNs(7), 2750);
}

TEST(PacingGridTest, DoesNotDriftInADayAtAThousandPerSecond) {
    const PacingGrid grid(5, periodOf(1000));
    EXPECT_EQ(grid.dueNs(86'400'000), 5 + 86'400'000'000'000);
}

TEST(PacingGridTest, FrameIsInTimeUntilItsSuccessorIsDue) {
    const PacingGrid grid(1000, 100);
    EXPECT_EQ(grid.frameToDeliver(3, 1300, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(3, 1399, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(3, 1400, 0), 4u);
}

TEST(PacingGridTest, LateFrameGivesWayToTheLatestThatIsDue) {
    const PacingGrid grid(1000, 100);
    EXPECT_EQ(grid.frameToDeliver(3, 1999, 0), 9u);
    EXPECT_EQ(grid.frameToDeliver(3, 2000, 0), 10u);
}

TEST(PacingGridTest, LateFrameIsMadeUpForWithinTheTolerance) {
    const PacingGrid grid(1000, 100);
    EXPECT_EQ(grid.frameToDeliver(3, 1799, 4), 3u);
    EXPECT_EQ(grid.frameToDeliver(4, 1799, 4), 4u);
    EXPECT_EQ(grid.frameToDeliver(3, 1800, 4), 8u);
}

TEST(PacingGridTest, FrameBeforeItsTimeStays) {
    const PacingGrid grid(1000, 100);
    EXPECT_EQ(grid.frameToDeliver(3, 1100, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(3, 900, 0), 3u);
    EXPECT_EQ(grid.frameToDeliver(0, 0, 0), 0u);
}

TEST(PeriodOfTest, IsRoundedToWholeNanoseconds) {
    EXPECT_EQ(periodOf(100), 10'000'000);
    EXPECT_EQ(periodOf(59.94), 16'683'350);
    EXPECT_EQ(periodOf(3), 333'333'333);
    EXPECT_EQ(periodOf(1.5), 666'666'667);
    EXPECT_EQ(periodOf(0.01), 100'000'000'000);
    EXPECT_EQ(periodOf(1e12), 1);
}

}  // namespace
