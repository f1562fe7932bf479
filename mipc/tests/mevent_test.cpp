#include "mevent.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>

#include "child_process.h"
#include "meeting.h"
#include "mprocessevent.h"
#include "reports.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const HANDLE kBadHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7FFFFFF0});

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Holds one event of the free functions.
class MEventTest : public testing::Test {
protected:
    ~MEventTest() override { EXPECT_EQ(MEvent_Delete(_event), 1); }
    int wait(DWORD timeoutMs) const { return MEvent_Wait(&_event, 1, timeoutMs); }

    std::string _name = test::uniqueName("event");
    test::Reports _reports{"mipc/src/mevent_win32"};
    HANDLE _event = MEvent_Create(_name.c_str());
};

TEST_F(MEventTest, NewEventIsNotSignalledAndItsTimeoutIsNotTraced) {
    EXPECT_EQ(wait(0), -2);
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

TEST_F(MEventTest, NotifyReleasesOneWaitAndTheEventResetsItself) {
    EXPECT_EQ(MEvent_Notify(_event), 1);
    EXPECT_EQ(wait(5000), 0);
    EXPECT_EQ(wait(0), -2);
}

TEST_F(MEventTest, TwoNotifiesReleaseOnlyOneWait) {
    MEvent_Notify(_event);
    MEvent_Notify(_event);
    EXPECT_EQ(wait(0), 0);
    EXPECT_EQ(wait(0), -2);
}

TEST_F(MEventTest, CreatingTheSameNameTwiceGivesTheSameEvent) {
    const HANDLE second = MEvent_Create(_name.c_str());
    MEvent_Notify(second);
    EXPECT_EQ(wait(0), 0);
    EXPECT_EQ(MEvent_Delete(second), 1);
}

TEST_F(MEventTest, UnnamedEventsAreIndependent) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        const HANDLE first = MEvent_Create(name);
        const HANDLE second = MEvent_Create(name);
        MEvent_Notify(first);
        EXPECT_EQ(MEvent_Wait(&second, 1, 0), -2);
        EXPECT_EQ(MEvent_Wait(&first, 1, 0), 0);
        EXPECT_EQ(MEvent_Delete(first), 1);
        EXPECT_EQ(MEvent_Delete(second), 1);
    }
}

TEST_F(MEventTest, TheCountIsIgnored) {
    for (const int count : {-1, 0, 5, 1000}) EXPECT_EQ(MEvent_Wait(&_event, count, 0), -2) << count;
    MEvent_Notify(_event);
    EXPECT_EQ(MEvent_Wait(&_event, 5, 0), 0);
}

TEST_F(MEventTest, WaitOfHalfASecondTakesThatLong) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait(500), -2);
    EXPECT_GE(secondsSince(start), 0.499);
}

TEST_F(MEventTest, EndlessWaitIsReleasedByAnotherThread) {
    std::thread other([this] {
        std::this_thread::sleep_for(50ms);
        MEvent_Notify(_event);
    });
    EXPECT_EQ(wait(INFINITE), 0);
    other.join();
}

TEST_F(MEventTest, NameIsSignalledNoMoreAfterItsLastHandleIsClosed) {
    MEvent_Notify(_event);
    MEvent_Delete(_event);
    _event = MEvent_Create(_name.c_str());
    EXPECT_EQ(wait(0), -2);
}

TEST_F(MEventTest, SignalIsKeptWhileAnotherHandleIsOpen) {
    const HANDLE second = MEvent_Create(_name.c_str());
    MEvent_Notify(second);
    MEvent_Delete(second);
    EXPECT_EQ(wait(0), 0);
}

TEST_F(MEventTest, BadHandleIsReportedByNotify) {
    EXPECT_EQ(MEvent_Notify(kBadHandle), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Notify(): SetEvent() failed: 6"));
}

TEST_F(MEventTest, BadHandleIsReportedByDelete) {
    EXPECT_EQ(MEvent_Delete(kBadHandle), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Delete(): CloseHandle() failed: 6"));
}

TEST_F(MEventTest, BadHandleIsReportedByWait) {
    EXPECT_EQ(MEvent_Wait(&kBadHandle, 1, 0), -1);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Wait(): WaitForMultipleObjects() failed: 6"));
}

// The handle of a failed creation is also the process's own pseudo handle, which never signals.
TEST_F(MEventTest, TheInvalidHandleTimesOutAndIsDeletedWithoutAnEntry) {
    const HANDLE invalid = INVALID_HANDLE_VALUE;
    EXPECT_EQ(MEvent_Wait(&invalid, 1, 5), -2);
    EXPECT_EQ(MEvent_Delete(invalid), 1);
    EXPECT_THAT(_reports.errorTraces(), testing::IsEmpty());
}

TEST_F(MEventTest, NameOfAMappingGivesANullHandleWithoutAnEntry) {
    const std::string name = test::uniqueName("clash");
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.c_str());
    EXPECT_EQ(MEvent_Create(name.c_str()), nullptr);
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
    CloseHandle(mapping);
}

CHILD_ROLE(holdsASignalledEvent) {
    const HANDLE event = MEvent_Create(arguments.at(0).c_str());
    MEvent_Notify(event);
    return test::readyAndAwaitGo(arguments) ? 0 : 1;
}

TEST_F(MEventTest, SignalOfAnotherProcessOutlivesThatProcess) {
    const test::Meeting meeting;
    test::ChildProcess holder("holdsASignalledEvent", meeting.arguments({_name}));
    meeting.awaitReady();
    holder.kill();
    EXPECT_EQ(wait(0), 0);
}

TEST_F(MEventTest, NameStartsAnewAfterItsOnlyHolderIsKilled) {
    const std::string name = test::uniqueName("killed");
    const test::Meeting meeting;
    test::ChildProcess holder("holdsASignalledEvent", meeting.arguments({name}));
    meeting.awaitReady();
    holder.kill();
    const HANDLE event = MEvent_Create(name.c_str());
    EXPECT_EQ(MEvent_Wait(&event, 1, 0), -2);
    MEvent_Delete(event);
}

// -------------------------------------------------------------------------------------------------- MProcessEvent

static_assert(!std::is_copy_constructible_v<MProcessEvent> && !std::is_move_constructible_v<MProcessEvent>);
static_assert(!std::is_copy_assignable_v<MProcessEvent> && !std::is_move_assignable_v<MProcessEvent>);
static_assert(std::is_abstract_v<MEvent> && std::has_virtual_destructor_v<MEvent>);
static_assert(sizeof(MProcessEvent) == sizeof(void*) + sizeof(HANDLE));  // one field after the virtual operations

class MProcessEventTest : public testing::Test {
protected:
    std::string _name = test::uniqueName("process_event");
    test::Reports _reports{"mipc/src/mevent_win32"};
    std::shared_ptr<MEvent> _event = std::make_shared<MProcessEvent>(_name.c_str());
};

TEST_F(MProcessEventTest, NewEventTimesOutAtOnceWithAPoll) {
    EXPECT_EQ(_event->Wait(0.0), -1);
    EXPECT_EQ(_event->Wait(0.0009), -1);
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

TEST_F(MProcessEventTest, UnsignalledWaitTimesOutAfterHalfASecondAndASignalledOneEnds) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(_event->Wait(0.5), -1);
    EXPECT_GE(secondsSince(start), 0.499);
    EXPECT_TRUE(_event->Notify());
    EXPECT_EQ(_event->Wait(60.0), 1);
    EXPECT_EQ(_event->Wait(0.0), -1);
}

TEST_F(MProcessEventTest, TwoNotifiesReleaseOneWait) {
    EXPECT_TRUE(_event->Notify());
    EXPECT_TRUE(_event->Notify());
    EXPECT_EQ(_event->Wait(5.0), 1);
    EXPECT_EQ(_event->Wait(0.0), -1);
}

TEST_F(MProcessEventTest, SetReleasesAWaitLikeNotify) {
    EXPECT_TRUE(_event->Set());
    EXPECT_EQ(_event->Wait(5.0), 1);
    EXPECT_EQ(_event->Wait(0.0), -1);
}

TEST_F(MProcessEventTest, TwoObjectsOfOneNameSignalEachOther) {
    MProcessEvent other(_name.c_str());
    EXPECT_TRUE(other.Notify());
    EXPECT_EQ(_event->Wait(0.0), 1);
    EXPECT_TRUE(_event->Notify());
    EXPECT_EQ(other.Wait(0.0), 1);
}

TEST_F(MProcessEventTest, ObjectsWithoutNameDoNotSignalEachOther) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        MProcessEvent first(name);
        MProcessEvent second(name);
        EXPECT_TRUE(first.Notify());
        EXPECT_EQ(second.Wait(0.0), -1);
        EXPECT_EQ(first.Wait(0.0), 1);
    }
}

TEST_F(MProcessEventTest, OneNotifyWakesExactlyOneOfTwoWaiters) {
    std::atomic<int> woken{0};
    const auto waitOnce = [&] {
        if (_event->Wait(60.0) == 1) ++woken;
    };
    std::thread first(waitOnce);
    std::thread second(waitOnce);
    _event->Notify();
    const auto limit = std::chrono::steady_clock::now() + 60s;
    while (woken == 0 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    std::this_thread::sleep_for(100ms);  // time for a second one to wake by mistake
    EXPECT_EQ(woken, 1);
    _event->Notify();
    first.join();
    second.join();
    EXPECT_EQ(woken, 2);
    EXPECT_EQ(_event->Wait(0.0), -1);
}

TEST_F(MProcessEventTest, LastObjectTakesItsSignalWithIt) {
    _event->Notify();
    _event.reset();
    EXPECT_EQ(MProcessEvent(_name.c_str()).Wait(0.0), -1);
}

TEST_F(MProcessEventTest, NameOfAMappingGivesAnObjectThatCannotWait) {
    const std::string name = test::uniqueName("clash");
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.c_str());
    {
        MProcessEvent event(name.c_str());
        EXPECT_THAT(_reports.errorTraces(), IsEmpty());
        EXPECT_EQ(event.Wait(0.0), 0);
        EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Wait(): WaitForMultipleObjects() failed: 6"));
        EXPECT_FALSE(event.Notify());
        EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Notify(): SetEvent() failed: 6"));
        EXPECT_FALSE(event.Set());
        EXPECT_THAT(_reports.errorTraces(), IsEmpty());
    }
    const auto entries = _reports.entries();  // of the destructor: first into the trace, then that and its own dump
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].sink, LogSink::errorTrace);
    EXPECT_EQ(entries[0].text, "MEvent_Delete(): CloseHandle() failed: 6");
    EXPECT_EQ(entries[1].sink, LogSink::errorLog);
    EXPECT_EQ(entries[1].file, "mipc/src/mevent_win32");
    EXPECT_EQ(entries[1].text, entries[0].text);
    EXPECT_EQ(entries[2].sink, LogSink::errorLog);
    EXPECT_EQ(entries[2].file, "mipc/src/mprocessevent");
    EXPECT_GT(entries[2].line, 0);
    EXPECT_EQ(entries[2].text, "MProcessEvent::~MProcessEvent(): MEvent_Delete() failed");
    CloseHandle(mapping);
}

CHILD_ROLE(notifiesAfterHalfASecond) {
    MProcessEvent event(arguments.at(0).c_str());
    std::this_thread::sleep_for(500ms);
    return event.Notify() ? 0 : 1;
}

TEST_F(MProcessEventTest, NotifyOfAnotherProcessEndsALongWait) {
    const auto start = std::chrono::steady_clock::now();
    test::ChildProcess child("notifiesAfterHalfASecond", {_name});
    EXPECT_EQ(_event->Wait(60.0), 1);
    EXPECT_GE(secondsSince(start), 0.499);
    EXPECT_EQ(child.join(60s), 0);
}

CHILD_ROLE(answersEveryNotify) {
    MProcessEvent question(arguments.at(0).c_str());
    MProcessEvent answer(arguments.at(1).c_str());
    for (int round = 0; round < 1000; ++round) {
        if (question.Wait(60.0) != 1 || !answer.Notify()) return 1;
    }
    return 0;
}

TEST_F(MProcessEventTest, TwoProcessesAnswerEachOtherAThousandTimes) {
    const std::string answerName = test::uniqueName("answer");
    MProcessEvent answer(answerName.c_str());
    test::ChildProcess child("answersEveryNotify", {_name, answerName});
    for (int round = 0; round < 1000; ++round) {
        ASSERT_TRUE(_event->Notify());
        ASSERT_EQ(answer.Wait(60.0), 1) << round;
    }
    EXPECT_EQ(child.join(60s), 0);
}

CHILD_ROLE(waitsForTheKeptSignal) { return MProcessEvent(arguments.at(0).c_str()).Wait(0.0) == 1 ? 0 : 1; }

TEST_F(MProcessEventTest, ProcessThatComesLateFindsTheSignalKept) {
    _event->Notify();
    test::ChildProcess child("waitsForTheKeptSignal", {_name});
    EXPECT_EQ(child.join(60s), 0);
    EXPECT_EQ(_event->Wait(0.0), -1);
}

}  // namespace
