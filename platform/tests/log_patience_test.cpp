#include "log_patience.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

TEST(LogPatienceTest, IsHalfASecondAtOnce) {
    const LogPatience::Clock::time_point now(1h);
    LogPatience patience;
    EXPECT_EQ(patience.left(now), 500ms);
    patience.spend(400ms);
    EXPECT_EQ(patience.left(now), 100ms);
    patience.spend(200ms);
    EXPECT_EQ(patience.left(now), 0ms);
}

TEST(LogPatienceTest, IsATenthOfTheTimeAltogether) {
    const LogPatience::Clock::time_point now(1h);
    LogPatience patience;
    patience.left(now);
    patience.spend(500ms);
    EXPECT_EQ(patience.left(now + 1s), 100ms);
    EXPECT_EQ(patience.left(now + 1h), 500ms);
}

}  // namespace
