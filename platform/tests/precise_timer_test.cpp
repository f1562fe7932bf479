#include "precise_timer.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "platform.h"

namespace {

TEST(PreciseTimerTest, NeverEndsBeforeItsDeadline) {
    PreciseTimer timer;
    for (const std::int64_t time : {0, 1'000, 50'000, 200'000, 1'500'000, 5'000'000}) {
        const std::int64_t deadline = platform_monotonicNanoseconds() + time;
        EXPECT_TRUE(timer.sleepUntil(deadline));
        EXPECT_GE(platform_monotonicNanoseconds(), deadline);
    }
}

TEST(PreciseTimerTest, ADeadlineThatHasPassedDoesNotSleep) {
    PreciseTimer timer;
    const std::int64_t begin = platform_monotonicNanoseconds();
    for (int count = 0; count < 100; ++count) EXPECT_TRUE(timer.sleepUntil(begin - 1));
}

// The best of many, so that a busy machine does not matter: without the margin, and the timer slack, no single one
// would be that good.
TEST(PreciseTimerTest, WakesWithinAFractionOfAMillisecondAtBest) {
    PreciseTimer timer;
    std::int64_t best = INT64_MAX;
    for (int count = 0; count < 200 && best > 20'000; ++count) {
        const std::int64_t deadline = platform_monotonicNanoseconds() + 2'000'000;
        timer.sleepUntil(deadline);
        best = std::min(best, platform_monotonicNanoseconds() - deadline);
    }
    EXPECT_LE(best, 100'000);
    EXPECT_GE(timer.margin(), 0);
    EXPECT_LE(timer.margin(), 2'500'000);
}

}  // namespace
