#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "precise_timer.h"

TEST(PreciseTimerTest, TheThreadsTimerSlackIsLeastWhileItLivesAndThenAsBefore) {
    const int before = prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
    ASSERT_GT(before, 1);
    {
        const PreciseTimer timer;
        EXPECT_EQ(prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0), 1);
    }
    EXPECT_EQ(prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0), before);
}
