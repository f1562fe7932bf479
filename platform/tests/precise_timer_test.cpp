#include "precise_timer.h"

#include <algorithm>
#include <random>

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

TEST(SleepMarginTest, StaysWithinItsBounds) {
    EXPECT_EQ(SleepMargin(-1).get(), SleepMargin::kLeast);
    EXPECT_EQ(SleepMargin(1'000'000'000).get(), SleepMargin::kGreatest);
    SleepMargin margin(SleepMargin::kLeast);
    margin.learn(-1'000'000);
    EXPECT_EQ(margin.get(), SleepMargin::kLeast);
    for (int count = 0; count < 100; ++count) margin.learn(1'000'000'000);
    EXPECT_EQ(margin.get(), SleepMargin::kGreatest);
}

TEST(SleepMarginTest, OneLateWakeUpRaisesItByAStepHoweverLateItWas) {
    SleepMargin margin(1'000'000);
    margin.learn(1'000'000);
    EXPECT_EQ(margin.get(), 1'000'000 - SleepMargin::kLower);
    margin.learn(1'000'000);
    EXPECT_EQ(margin.get(), 1'000'000 - SleepMargin::kLower + SleepMargin::kRaise);
    margin.learn(50'000'000);
    EXPECT_EQ(margin.get(), 1'000'000 - SleepMargin::kLower + 2 * SleepMargin::kRaise);
}

TEST(SleepMarginTest, OneInTwoHundredComesLateInTheEndWhateverItBeganWith) {
    for (const std::int64_t first : {50'000, 1'200'000, 2'500'000}) {
        std::mt19937 random(1);
        SleepMargin margin(first);
        const auto draw = [&] { return static_cast<std::int64_t>(random() % 1'200'000); };
        for (int count = 0; count < 10'000; ++count) margin.learn(draw());
        int late = 0;
        for (int count = 0; count < 20'000; ++count) {
            const std::int64_t wake = draw();
            if (wake > margin.get()) ++late;
            margin.learn(wake);
        }
        EXPECT_GE(late, 80) << first;
        EXPECT_LE(late, 120) << first;
    }
}

/// A system whose clock advances only by waits and spins, and whose timer is late.
struct FakeSystem {
    std::int64_t clock = 1'000'000'000;
    std::int64_t late = 0;
    int waits = 0, spins = 0;
    int stopAfterWaits = -1;

    std::int64_t now() const { return clock; }
    void wait(std::int64_t nanoseconds) {
        ++waits;
        clock += nanoseconds + late;
    }
    void spin() {
        ++spins;
        clock += 500;
    }
    bool stopRequested() const { return waits == stopAfterWaits; }
};

TEST(SleepMarginTest, AsksToBeWokenEarlierAndSpinsTheRest) {
    FakeSystem system;
    SleepMargin margin(1'200'000);
    system.late = 1'000'000;
    const std::int64_t deadline = system.clock + 5'000'000;
    EXPECT_TRUE(margin.sleepUntil(deadline, system));
    EXPECT_EQ(system.clock, deadline);
    EXPECT_EQ(system.waits, 1);
    EXPECT_EQ(system.spins, 400);
}

TEST(SleepMarginTest, WithoutSpinningItOnlyWaits) {
    FakeSystem system;
    SleepMargin margin(1'200'000);
    system.late = 1'000'000;
    const std::int64_t deadline = system.clock + 5'000'000;
    EXPECT_TRUE(margin.sleepUntil(deadline, system, false));
    EXPECT_EQ(system.clock, deadline - 200'000);
    EXPECT_TRUE(margin.sleepUntil(deadline, system, false));
    EXPECT_EQ(system.clock, deadline - 200'000);
    EXPECT_EQ(system.waits, 1);
    EXPECT_EQ(system.spins, 0);
    EXPECT_EQ(margin.get(), 1'200'000 - SleepMargin::kLower);
}

TEST(SleepMarginTest, ATimerThatIsLaterThanAtFirstIsCaughtUpWith) {
    FakeSystem system;
    SleepMargin margin(300'000);
    system.late = 1'000'000;
    for (int count = 0; count < 8; ++count) {
        const std::int64_t deadline = system.clock + 5'000'000;
        EXPECT_TRUE(margin.sleepUntil(deadline, system));
        EXPECT_EQ(system.clock - deadline, std::max<std::int64_t>(700'000 - count * SleepMargin::kRaise, 0)) << count;
    }
}

TEST(SleepMarginTest, ALongSleepIsTakenInSlicesAndAStopRequestEndsIt) {
    FakeSystem system;
    SleepMargin margin(1'000'000);
    const std::int64_t begin = system.clock;
    system.stopAfterWaits = 2;
    EXPECT_FALSE(margin.sleepUntil(begin + 1'000'000'000, system));
    EXPECT_EQ(system.clock, begin + 2 * SleepMargin::kLongestWait);
    system.stopAfterWaits = -1;
    EXPECT_TRUE(margin.sleepUntil(begin + 1'000'000'000, system));
    EXPECT_EQ(system.clock, begin + 1'000'000'000);
    EXPECT_EQ(system.waits, 10);  // the last one, of 99 ms, is not followed by one for what the margin has shrunk
}

TEST(SleepMarginTest, AMarginThatABusyMachineHasRaisedAboveThePeriodComesDownAgain) {
    FakeSystem system;
    SleepMargin margin(SleepMargin::kGreatest);
    system.late = 20'000;
    const std::int64_t begin = system.clock;
    for (std::int64_t count = 1; count <= 10'000; ++count)
        EXPECT_TRUE(margin.sleepUntil(begin + count * 1'000'000, system));
    EXPECT_EQ(margin.get(), SleepMargin::kLeast);
    EXPECT_GT(system.waits, 1'000);
}

TEST(SleepMarginTest, ADeadlineThatHasPassedDoesNotWait) {
    FakeSystem system;
    EXPECT_TRUE(SleepMargin(0).sleepUntil(system.clock, system));
    EXPECT_EQ(system.waits + system.spins, 0);
}

}  // namespace
