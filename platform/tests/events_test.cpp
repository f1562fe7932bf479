#include <atomic>
#include <chrono>
#include <thread>

#include <gmock/gmock.h>

#include "child_process.h"
#include "object_handles.h"
#include "platform.h"
#include "stopwatch.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using test::ObjectHandle;

namespace {

DWORD waitFor(HANDLE event, DWORD milliseconds) { return WaitForMultipleObjects(1, &event, FALSE, milliseconds); }

ObjectHandle createEvent(const char* name) { return ObjectHandle(CreateEventA(nullptr, FALSE, FALSE, name)); }

}  // namespace

TEST(Events, ANewEventIsNotSignalled) {
    const auto event = createEvent(test::uniqueName("new").c_str());
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_TIMEOUT);
}

TEST(Events, AnEventCreatedSignalledReleasesOneWait) {
    const ObjectHandle event(CreateEventA(nullptr, FALSE, TRUE, nullptr));
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_TIMEOUT);
}

TEST(Events, OneSetReleasesOneWaitAndResets) {
    const auto event = createEvent(nullptr);
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(waitFor(event.get(), 1000), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_TIMEOUT);
}

TEST(Events, TwoSetsWithoutAWaiterAreOne) {
    const auto event = createEvent(nullptr);
    SetEvent(event.get());
    SetEvent(event.get());
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_TIMEOUT);
}

TEST(Events, CreatingTwiceTellsThatItExistedAndGivesTheSameEvent) {
    const std::string name = test::uniqueName("twice");
    const auto first = createEvent(name.c_str());
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const auto second = createEvent(name.c_str());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_NE(first.get(), second.get());
    SetEvent(first.get());
    EXPECT_EQ(waitFor(second.get(), 0), WAIT_OBJECT_0);
}

TEST(Events, UnnamedEventsAreIndependent) {
    const auto first = createEvent(nullptr);
    const auto second = createEvent("");
    const auto third = createEvent("");
    SetEvent(second.get());
    EXPECT_EQ(waitFor(first.get(), 0), WAIT_TIMEOUT);
    EXPECT_EQ(waitFor(third.get(), 0), WAIT_TIMEOUT);
}

TEST(Events, OpenFindsAnExistingEventOnly) {
    const std::string name = test::uniqueName("open");
    EXPECT_EQ(OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    const auto event = createEvent(name.c_str());
    const ObjectHandle opened(OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()));
    ASSERT_NE(opened.get(), nullptr);
    SetEvent(opened.get());
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_OBJECT_0);
}

TEST(Events, ANewEventAfterTheLastHandleStartsUnsignalled) {
    const std::string name = test::uniqueName("anew");
    {
        const auto event = createEvent(name.c_str());
        SetEvent(event.get());
    }
    const auto event = createEvent(name.c_str());
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_EQ(waitFor(event.get(), 0), WAIT_TIMEOUT);
}

TEST(Events, ClosedAndInventedHandlesAreRefused) {
    const HANDLE closed = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    ASSERT_TRUE(CloseHandle(closed));
    for (const HANDLE bad : {closed, static_cast<HANDLE>(nullptr), reinterpret_cast<HANDLE>(std::uintptr_t{0x7ff0})}) {
        SetLastError(0);
        EXPECT_FALSE(SetEvent(bad));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
        SetLastError(0);
        EXPECT_EQ(waitFor(bad, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
        SetLastError(0);
        EXPECT_FALSE(CloseHandle(bad));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    }
}

// INVALID_HANDLE_VALUE is the pseudo handle of the process itself, which does not end while it waits.
TEST(Events, TheInvalidHandleIsTheProcessThatNeverSignals) {
    const HANDLE process = INVALID_HANDLE_VALUE;
    EXPECT_EQ(waitFor(process, 0), WAIT_TIMEOUT);
    const auto start = steady_clock::now();
    EXPECT_EQ(waitFor(process, 30), WAIT_TIMEOUT);
    EXPECT_GE(steady_clock::now() - start, 30ms);
    SetLastError(7);
    EXPECT_TRUE(CloseHandle(process));
    EXPECT_TRUE(CloseHandle(process));
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_FALSE(SetEvent(process));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Events, AMappingCannotBeWaitedFor) {
    const ObjectHandle mapping(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, nullptr));
    EXPECT_EQ(waitFor(mapping.get(), 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

namespace {

// What a handle allows that was opened with a right.
struct EventRights {
    const char* name;
    DWORD access;
    bool sets;
    bool waits;
};

class EventRightsTest : public testing::TestWithParam<EventRights> {};

}  // namespace

TEST_P(EventRightsTest, AreThoseOfTheOpening) {
    const std::string name = test::uniqueName("rights");
    const auto event = createEvent(name.c_str());
    const ObjectHandle opened(OpenEventA(GetParam().access, FALSE, name.c_str()));
    ASSERT_NE(opened.get(), nullptr);
    SetLastError(0);
    EXPECT_EQ(SetEvent(opened.get()) != FALSE, GetParam().sets);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(GetParam().sets ? ERROR_SUCCESS : ERROR_ACCESS_DENIED));
    EXPECT_EQ(waitFor(event.get(), 0), GetParam().sets ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
    SetLastError(0);
    EXPECT_EQ(waitFor(opened.get(), 0), GetParam().waits ? WAIT_TIMEOUT : WAIT_FAILED);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(GetParam().waits ? ERROR_SUCCESS : ERROR_ACCESS_DENIED));
}

// clang-format off
constexpr EventRights kEventRights[] = {
    {"Everything", EVENT_ALL_ACCESS,                 true,  true },
    {"Both",       EVENT_MODIFY_STATE | SYNCHRONIZE, true,  true },
    {"Setting",    EVENT_MODIFY_STATE,               true,  false},
    {"Waiting",    SYNCHRONIZE,                      false, true },
    {"Reading",    GENERIC_READ,                     false, false},
    {"Nothing",    0,                                false, false}
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Opened, EventRightsTest, testing::ValuesIn(kEventRights),
                         [](const auto& information) { return std::string(information.param.name); });

TEST(Events, AWaitIsNeverEarlyAndNotAlwaysLate) {
    const auto event = createEvent(nullptr);
    for (const int milliseconds : {1, 5, 20, 60}) {
        const auto waiting = [&] {
            const double seconds = test::secondsOf(
                [&] { EXPECT_EQ(waitFor(event.get(), static_cast<DWORD>(milliseconds)), WAIT_TIMEOUT); });
            EXPECT_GE(seconds, milliseconds / 1000.0);
            return seconds;
        };
        EXPECT_LT(test::quickestOf(20, 0.5, waiting), 0.5);
    }
}

TEST(Events, OneSetWakesOneOfTwoWaiters) {
    const auto event = createEvent(nullptr);
    std::atomic<int> woken{0};
    const auto waiter = [&] {
        if (waitFor(event.get(), 60'000) == WAIT_OBJECT_0) ++woken;
    };
    std::thread first(waiter);
    std::thread second(waiter);
    std::this_thread::sleep_for(50ms);  // most times both wait by then
    SetEvent(event.get());
    EXPECT_TRUE(test::becomesTrue([&] { return woken == 1; }));
    std::this_thread::sleep_for(100ms);  // time for the other one to wake by mistake
    EXPECT_EQ(woken, 1);
    SetEvent(event.get());
    first.join();
    second.join();
    EXPECT_EQ(woken, 2);
}

TEST(Events, AnEndlessWaitIsReleased) {
    const auto event = createEvent(nullptr);
    DWORD result = WAIT_FAILED;
    std::thread waiter([&] { result = waitFor(event.get(), INFINITE); });
    std::this_thread::sleep_for(20ms);
    SetEvent(event.get());
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
}

TEST(Events, AHundredThousandSetsLoseNoWake) {
    constexpr int kRounds = 100'000;
    const auto there = createEvent(nullptr);
    const auto back = createEvent(nullptr);
    int answered = 0;
    std::thread answering([&] {
        for (; answered < kRounds; ++answered) {
            if (waitFor(there.get(), 60'000) != WAIT_OBJECT_0) return;
            SetEvent(back.get());
        }
    });
    int asked = 0;
    for (; asked < kRounds; ++asked) {
        SetEvent(there.get());
        if (waitFor(back.get(), 60'000) != WAIT_OBJECT_0) break;
    }
    answering.join();
    EXPECT_EQ(asked, kRounds);
    EXPECT_EQ(answered, kRounds);
}

CHILD_ROLE(setsEventAfterAnotherIsSet) {
    const ObjectHandle go(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(0).c_str()));
    const ObjectHandle done(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
    if (!go.get() || !done.get() || waitFor(go.get(), 60'000) != WAIT_OBJECT_0) return 1;
    return SetEvent(done.get()) ? 0 : 2;
}

TEST(Events, TwoProcessesWakeEachOther) {
    const std::string goName = test::uniqueName("go");
    const std::string doneName = test::uniqueName("done");
    const auto go = createEvent(goName.c_str());
    const auto done = createEvent(doneName.c_str());
    test::ChildProcess child("setsEventAfterAnotherIsSet", {goName, doneName});
    SetEvent(go.get());
    EXPECT_EQ(waitFor(done.get(), 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(child.join(60s), 0);
}

CHILD_ROLE(answersPings) {
    const ObjectHandle ping(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(0).c_str()));
    const ObjectHandle pong(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
    for (int i = 0; i < 2'000; ++i) {
        if (waitFor(ping.get(), 60'000) != WAIT_OBJECT_0) return 1;
        SetEvent(pong.get());
    }
    return 0;
}

TEST(Events, TwoProcessesLoseNoWakeInManyRounds) {
    const std::string pingName = test::uniqueName("ping");
    const std::string pongName = test::uniqueName("pong");
    const auto ping = createEvent(pingName.c_str());
    const auto pong = createEvent(pongName.c_str());
    test::ChildProcess child("answersPings", {pingName, pongName});
    int rounds = 0;
    for (; rounds < 2'000; ++rounds) {
        SetEvent(ping.get());
        if (waitFor(pong.get(), 60'000) != WAIT_OBJECT_0) break;
    }
    EXPECT_EQ(rounds, 2'000);
    EXPECT_EQ(child.join(60s), 0);
}

TEST(Events, AHandleClosedWhileAThreadWaitsEndsNothing) {
    const std::string name = test::uniqueName("closed_in_wait");
    const auto kept = createEvent(name.c_str());
    const HANDLE waitedFor = CreateEventA(nullptr, FALSE, FALSE, name.c_str());
    DWORD result = WAIT_FAILED;
    std::thread waiter([&] { result = waitFor(waitedFor, 60'000); });
    std::this_thread::sleep_for(50ms);
    CloseHandle(waitedFor);
    SetEvent(kept.get());
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
}
