// Whom a set releases: exactly one waiter. A signal is kept only when nobody is left to release. A released waiter owns
// its signal, and a dead waiter takes none.
#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "announced_wait.h"
#include "child_process.h"
#include "object_handles.h"
#include "platform.h"
#include "stopwatch.h"

using namespace std::chrono_literals;
using test::ObjectHandle;
using test::Sleeper;
using test::SleepingProcess;

namespace {

constexpr DWORD kLong = 60'000;
constexpr int kRounds = 20;

DWORD waitFor(HANDLE event, DWORD milliseconds) { return WaitForMultipleObjects(1, &event, FALSE, milliseconds); }

ObjectHandle createEvent(const std::string& name = "") {
    return ObjectHandle(CreateEventA(nullptr, FALSE, FALSE, name.c_str()));
}

// How many waits in a row are released at once.
int keptSignals(HANDLE event) {
    int kept = 0;
    while (kept < 100 && waitFor(event, 0) == WAIT_OBJECT_0) ++kept;
    return kept;
}

std::vector<std::unique_ptr<Sleeper>> sleepers(int count, HANDLE event, DWORD milliseconds) {
    std::vector<std::unique_ptr<Sleeper>> all;
    for (int i = 0; i < count; ++i) {
        all.push_back(std::make_unique<Sleeper>(event, milliseconds));
        EXPECT_TRUE(all.back()->sleeps());
    }
    return all;
}

int released(const std::vector<std::unique_ptr<Sleeper>>& all) {
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [](const auto& one) { return one->result() == WAIT_OBJECT_0; }));
}

}  // namespace

TEST(EventRelease, ASecondSetDuringAWaitIsKeptForTheNextWait) {
    const auto event = createEvent();
    for (int round = 0; round < kRounds; ++round) {
        Sleeper sleeper(event.get(), kLong);
        ASSERT_TRUE(sleeper.sleeps());
        SetEvent(event.get());
        SetEvent(event.get());
        EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
        EXPECT_EQ(keptSignals(event.get()), 1) << "round " << round;
    }
}

class SleepersAndSets : public testing::TestWithParam<int> {};

TEST_P(SleepersAndSets, AsManySetsAsSleepersReleaseAllAndLeaveNothing) {
    const auto event = createEvent();
    for (int round = 0; round < 5; ++round) {
        const auto all = sleepers(GetParam(), event.get(), 60'000);
        for (int i = 0; i < GetParam(); ++i) SetEvent(event.get());
        EXPECT_EQ(released(all), GetParam());
        EXPECT_EQ(keptSignals(event.get()), 0);
    }
}

TEST_P(SleepersAndSets, SetsBeyondTheSleepersAreOneSignalThatIsKept) {
    const auto event = createEvent();
    const auto all = sleepers(GetParam(), event.get(), 60'000);
    for (int i = 0; i < GetParam() + 3; ++i) SetEvent(event.get());
    EXPECT_EQ(released(all), GetParam());
    EXPECT_EQ(keptSignals(event.get()), 1);
}

TEST_P(SleepersAndSets, OneSetReleasesOneSleeperAndTheOthersSleepOn) {
    const auto event = createEvent();
    const auto all = sleepers(GetParam(), event.get(), kLong);
    SetEvent(event.get());
    const auto areReleased = [&] {
        return std::count_if(all.begin(), all.end(), [](const auto& one) { return one->isReleased(); });
    };
    EXPECT_TRUE(test::becomesTrue([&] { return areReleased() == 1; }));
    std::this_thread::sleep_for(100ms);  // time for another one to wake by mistake
    EXPECT_EQ(areReleased(), 1);
    for (int i = 1; i < GetParam(); ++i) SetEvent(event.get());
    EXPECT_EQ(released(all), GetParam());
    EXPECT_EQ(keptSignals(event.get()), 0);
}

INSTANTIATE_TEST_SUITE_P(EventRelease, SleepersAndSets, testing::Values(1, 2, 4, 12));

TEST(EventRelease, WhoComesLateDoesNotGetTheSignalOfOneThatWasReleased) {
    const auto event = createEvent();
    for (int round = 0; round < kRounds; ++round) {
        Sleeper sleeper(event.get(), 2'000);
        ASSERT_TRUE(sleeper.sleeps());
        SetEvent(event.get());
        EXPECT_EQ(waitFor(event.get(), 0), WAIT_TIMEOUT) << "round " << round;
        EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0) << "round " << round;
    }
}

TEST(EventRelease, ASetAgainstATimeoutReleasesTheWaitOrIsKept) {
    const auto event = createEvent();
    for (int round = 0; round < 400; ++round) {
        std::atomic<bool> started{false};
        DWORD result = WAIT_FAILED;
        std::thread waiter([&] {
            started = true;
            result = waitFor(event.get(), 1);
        });
        while (!started) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(900 + round));  // around the end of the wait
        SetEvent(event.get());
        waiter.join();
        EXPECT_EQ((result == WAIT_OBJECT_0) + keptSignals(event.get()), 1) << "round " << round;
    }
}

TEST(EventRelease, EachOfManySetsReleasesOneOfThreadsWhoseWaitsRunOut) {
    constexpr int kSets = 2'000;
    const auto event = createEvent();
    const auto done = createEvent();
    std::atomic<int> releases{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> waiters;
    for (const DWORD milliseconds : {1u, 2u, 50u}) {
        waiters.emplace_back([&, milliseconds] {
            while (!stop) {
                if (waitFor(event.get(), milliseconds) != WAIT_OBJECT_0) continue;
                ++releases;
                SetEvent(done.get());
            }
        });
    }
    for (int i = 1; i <= kSets; ++i) {
        SetEvent(event.get());
        ASSERT_EQ(waitFor(done.get(), kLong), WAIT_OBJECT_0) << "set " << i;
        ASSERT_EQ(releases, i);
    }
    stop = true;
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(releases + keptSignals(event.get()), kSets);
}

TEST(EventRelease, MoreSleepersThanHaveASeatAreReleasedOneAfterTheOther) {
    constexpr int kMany = 40;
    const auto event = createEvent();
    const auto done = createEvent();
    std::atomic<int> releases{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kMany; ++i) {
        waiters.emplace_back([&] {
            if (waitFor(event.get(), kLong) != WAIT_OBJECT_0) return;
            ++releases;
            SetEvent(done.get());
        });
    }
    for (int i = 1; i <= kMany; ++i) {
        SetEvent(event.get());
        ASSERT_EQ(waitFor(done.get(), kLong), WAIT_OBJECT_0) << "set " << i;
        EXPECT_EQ(releases, i);
    }
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(keptSignals(event.get()), 0);
}

// ------------------------------------------------------------------------------------------------- waiters that die

CHILD_ROLE(waitsForEventUntilKilled) {
    const ObjectHandle event(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(0).c_str()));
    const ObjectHandle ready(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
    const ObjectHandle memory(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, arguments.at(2).c_str()));
    auto* const announcement =
        static_cast<test::Announcement*>(MapViewOfFile(memory.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
    if (!event.get() || !ready.get() || !announcement) return 1;
    return test::announceAndWait(*announcement, ready.get(), event.get(), INFINITE) == WAIT_OBJECT_0 ? 0 : 2;
}

// Bytes written before a set need no other protection; ThreadSanitizer checks this.
TEST(EventRelease, WhatWasWrittenBeforeASetIsSeenByWhomItReleases) {
    constexpr int kPasses = 3'000;
    const auto there = createEvent();
    const auto back = createEvent();
    int carried = 0;
    std::thread other([&] {
        for (int i = 0; i < kPasses && waitFor(there.get(), kLong) == WAIT_OBJECT_0; ++i) {
            ++carried;
            SetEvent(back.get());
        }
    });
    for (int i = 0; i < kPasses; ++i) {
        ++carried;
        SetEvent(there.get());
        ASSERT_EQ(waitFor(back.get(), kLong), WAIT_OBJECT_0);
    }
    other.join();
    EXPECT_EQ(carried, 2 * kPasses);
}

class KilledWaiter : public testing::Test {
protected:
    std::string _name = test::uniqueName("event");
    ObjectHandle _event = createEvent(_name);
};

TEST_F(KilledWaiter, TakesNoSetThatComesAfterIt) {
    SleepingProcess waiter(_name);
    ASSERT_TRUE(waiter.sleeps());
    waiter.child().kill();
    for (int round = 0; round < 3; ++round) {
        SetEvent(_event.get());
        EXPECT_EQ(keptSignals(_event.get()), 1) << "round " << round;
    }
}

TEST_F(KilledWaiter, DoesNotMakeTwoSignalsOfTwoSets) {
    SleepingProcess first(_name);
    SleepingProcess second(_name);
    ASSERT_TRUE(first.sleeps() && second.sleeps());
    first.child().kill();
    second.child().kill();
    for (int i = 0; i < 5; ++i) SetEvent(_event.get());
    EXPECT_EQ(keptSignals(_event.get()), 1);
}

TEST_F(KilledWaiter, LeavesTheSetToOneThatLives) {
    SleepingProcess dying(_name);
    SleepingProcess living(_name);
    ASSERT_TRUE(dying.sleeps() && living.sleeps());
    Sleeper thread(_event.get(), kLong);
    ASSERT_TRUE(thread.sleeps());
    dying.child().kill();
    SetEvent(_event.get());
    SetEvent(_event.get());
    EXPECT_EQ(living.child().join(60s), 0);
    EXPECT_EQ(thread.result(), WAIT_OBJECT_0);
    EXPECT_EQ(keptSignals(_event.get()), 0);
}

TEST_F(KilledWaiter, IsForgottenWhenAnotherComesInItsPlace) {
    {
        SleepingProcess dying(_name);
        ASSERT_TRUE(dying.sleeps());
        dying.child().kill();
    }
    SleepingProcess next(_name);
    ASSERT_TRUE(next.sleeps());
    SetEvent(_event.get());
    EXPECT_EQ(next.child().join(60s), 0);
    EXPECT_EQ(keptSignals(_event.get()), 0);
}
