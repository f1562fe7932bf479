// Events while the system gives rare or impossible answers.
#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

#include "mevent.h"
#include "mprocessevent.h"
#include "platform_fault.h"
#include "reports.h"

PLATFORM_FAULT(HANDLE, CreateEventA,
               (SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initialState, LPCSTR name),
               (attributes, manualReset, initialState, name))
PLATFORM_FAULT(DWORD, WaitForMultipleObjects, (DWORD count, const HANDLE* handles, BOOL waitAll, DWORD timeoutMs),
               (count, handles, waitAll, timeoutMs))
PLATFORM_FAULT(BOOL, SetEvent, (HANDLE event), (event))
PLATFORM_FAULT(BOOL, CloseHandle, (HANDLE handle), (handle))

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

HANDLE handleOf(std::uintptr_t number) { return reinterpret_cast<HANDLE>(number); }

auto createAnswers(HANDLE answer, DWORD error) {
    return [=](SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCSTR) {
        SetLastError(error);
        return answer;
    };
}

auto waitAnswers(DWORD answer, DWORD error) {
    return [=](DWORD, const HANDLE*, BOOL, DWORD) {
        SetLastError(error);
        return answer;
    };
}

BOOL refuse(HANDLE) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

BOOL agree(HANDLE) { return TRUE; }

class MEventFaultTest : public testing::Test {
protected:
    test::Reports _reports{"mipc/src/mevent_win32"};
};

TEST_F(MEventFaultTest, CreateAsksForAnAutoResetEventThatIsNotSignalled) {
    const test::Fault fault(fault_CreateEventA,
                            [](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name) {
                                EXPECT_EQ(attributes, nullptr);
                                EXPECT_EQ(manualReset, FALSE);
                                EXPECT_EQ(initialState, FALSE);
                                EXPECT_STREQ(name, "x");
                                return handleOf(77);
                            });
    EXPECT_EQ(MEvent_Create("x"), handleOf(77));
}

TEST_F(MEventFaultTest, InvalidHandleIsReportedWithTheSystemsErrorAndReturned) {
    const test::Fault fault(fault_CreateEventA, createAnswers(INVALID_HANDLE_VALUE, 1450));
    EXPECT_EQ(MEvent_Create("x"), INVALID_HANDLE_VALUE);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Create(): CreateEvent() failed: 1450"));
}

TEST_F(MEventFaultTest, NullHandleIsReturnedWithoutAnEntry) {
    const test::Fault fault(fault_CreateEventA, createAnswers(nullptr, ERROR_ACCESS_DENIED));
    EXPECT_EQ(MEvent_Create("x"), nullptr);
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

TEST_F(MEventFaultTest, WaitHandsExactlyOneHandleAndTheTimeoutOn) {
    const HANDLE event = handleOf(77);
    const test::Fault fault(fault_WaitForMultipleObjects,
                            [&](DWORD count, const HANDLE* handles, BOOL waitAll, DWORD timeoutMs) {
                                EXPECT_EQ(count, 1u);
                                EXPECT_EQ(handles, &event);
                                EXPECT_EQ(waitAll, FALSE);
                                EXPECT_EQ(timeoutMs, 4000000000u);
                                return DWORD{WAIT_OBJECT_0};
                            });
    EXPECT_EQ(MEvent_Wait(&event, 9, 4000000000u), 0);
}

TEST_F(MEventFaultTest, AbandonedWaitFails) {
    const test::Fault fault(fault_WaitForMultipleObjects, waitAnswers(WAIT_ABANDONED_0, 735));
    const HANDLE event = handleOf(77);
    EXPECT_EQ(MEvent_Wait(&event, 1, 0), -1);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Wait(): WaitForMultipleObjects() failed: 735"));
}

TEST_F(MEventFaultTest, SecondHandlesResultIsNoSignal) {
    const test::Fault fault(fault_WaitForMultipleObjects, waitAnswers(WAIT_OBJECT_0 + 1, 0));
    const HANDLE event = handleOf(77);
    EXPECT_EQ(MEvent_Wait(&event, 1, 0), -1);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Wait(): WaitForMultipleObjects() failed: 0"));
}

TEST_F(MEventFaultTest, FailedWaitIsReportedWithTheSystemsError) {
    const test::Fault fault(fault_WaitForMultipleObjects, waitAnswers(WAIT_FAILED, 87));
    const HANDLE event = handleOf(77);
    EXPECT_EQ(MEvent_Wait(&event, 1, 0), -1);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Wait(): WaitForMultipleObjects() failed: 87"));
}

TEST_F(MEventFaultTest, RefusedNotifyAndDeleteAreReportedWithTheSystemsError) {
    const test::Fault set(fault_SetEvent, refuse);
    const test::Fault close(fault_CloseHandle, refuse);
    EXPECT_EQ(MEvent_Notify(handleOf(77)), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Notify(): SetEvent() failed: 5"));
    EXPECT_EQ(MEvent_Delete(handleOf(77)), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MEvent_Delete(): CloseHandle() failed: 5"));
}

// -------------------------------------------------------------------------------------------------- MProcessEvent

class MProcessEventFaultTest : public testing::Test {
protected:
    static std::string reasonOfFailure(const char* name) {
        try {
            const MProcessEvent event(name);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "nothing was thrown";
    }

    // Error entries as a reader of the log sees them: "file: text".
    std::vector<std::string> errorLog() {
        std::vector<std::string> lines;
        for (const test::LogEntry& entry : _recorder.entries(LogSink::errorLog))
            lines.push_back(entry.file + ": " + entry.text);
        return lines;
    }

    test::LogRecorder _recorder;
};

TEST_F(MProcessEventFaultTest, InvalidHandleIsDumpedAndThrown) {
    const test::Fault fault(fault_CreateEventA, createAnswers(INVALID_HANDLE_VALUE, 8));
    const test::Fault close(fault_CloseHandle, [](HANDLE) {
        ADD_FAILURE() << "there is nothing to close";
        return TRUE;
    });
    EXPECT_EQ(reasonOfFailure("x"), "Failed to create process event \"x\"");
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MEvent_Create(): CreateEvent() failed: 8"));
    EXPECT_THAT(errorLog(), ElementsAre("mipc/src/mevent_win32: MEvent_Create(): CreateEvent() failed: 8",
                                        "mipc/src/mprocessevent: MProcessEvent::MProcessEvent(): "
                                        "MEvent_Create(x) failed"));
    EXPECT_GT(_recorder.entries(LogSink::errorLog).at(1).line, 0);
}

TEST_F(MProcessEventFaultTest, NullNameIsReportedAsAnEmptyOne) {
    const test::Fault fault(fault_CreateEventA, createAnswers(INVALID_HANDLE_VALUE, 8));
    EXPECT_EQ(reasonOfFailure(nullptr), "Failed to create process event \"\"");
    EXPECT_EQ(errorLog().back(), "mipc/src/mprocessevent: MProcessEvent::MProcessEvent(): MEvent_Create() failed");
}

TEST_F(MProcessEventFaultTest, VeryLongNameIsThrownWholeAndDumpedCut) {
    const test::Fault fault(fault_CreateEventA, createAnswers(INVALID_HANDLE_VALUE, 8));
    const std::string name(300, 'n');
    EXPECT_EQ(reasonOfFailure(name.c_str()), "Failed to create process event \"" + name + "\"");
    EXPECT_THAT(_recorder.errors(),
                ElementsAre("MErrTraceContext::DumpToMErrLog(): output string too long !",
                            "MEvent_Create(): CreateEvent() failed: 8",
                            ("MProcessEvent::MProcessEvent(): MEvent_Create(" + name).substr(0, 254)));
}

TEST_F(MProcessEventFaultTest, ContextOfAFailedConstructorIsEnded) {
    {
        const test::Fault fault(fault_CreateEventA, createAnswers(INVALID_HANDLE_VALUE, 8));
        reasonOfFailure("x");
    }
    _recorder.clear();
    const test::Fault fault(fault_CreateEventA, createAnswers(INVALID_HANDLE_VALUE, 9));
    reasonOfFailure("y");  // dumps its own entries, not those of the one before
    EXPECT_THAT(_recorder.errors(), ElementsAre("MEvent_Create(): CreateEvent() failed: 9",
                                                "MProcessEvent::MProcessEvent(): MEvent_Create(y) failed"));
}

TEST_F(MProcessEventFaultTest, NullHandleIsNoFailureOfTheConstructor) {
    const test::Fault fault(fault_CreateEventA, createAnswers(nullptr, ERROR_INVALID_HANDLE));
    const test::Fault close(fault_CloseHandle, agree);
    EXPECT_EQ(reasonOfFailure("x"), "nothing was thrown");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MProcessEventFaultTest, DestructorDumpsAHandleThatDoesNotClose) {
    const test::Fault create(fault_CreateEventA, createAnswers(handleOf(77), 0));
    auto event = std::make_unique<MProcessEvent>("x");
    const test::Fault close(fault_CloseHandle, refuse);
    event.reset();
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MEvent_Delete(): CloseHandle() failed: 5"));
    EXPECT_THAT(errorLog(), ElementsAre("mipc/src/mevent_win32: MEvent_Delete(): CloseHandle() failed: 5",
                                        "mipc/src/mprocessevent: MProcessEvent::~MProcessEvent(): "
                                        "MEvent_Delete() failed"));
}

TEST_F(MProcessEventFaultTest, DestructorClosesTheHandleOnce) {
    const test::Fault create(fault_CreateEventA, createAnswers(handleOf(77), 0));
    std::vector<HANDLE> closed;
    const test::Fault close(fault_CloseHandle, [&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });
    std::make_unique<MProcessEvent>("x").reset();
    EXPECT_THAT(closed, ElementsAre(handleOf(77)));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MProcessEventFaultTest, WaitGivesOneForSignalledMinusOneForTimeoutZeroForFailure) {
    MProcessEvent event("");
    const auto resultOf = [&](DWORD answer) {
        const test::Fault fault(fault_WaitForMultipleObjects, waitAnswers(answer, 0));
        return event.Wait(1.0);
    };
    EXPECT_EQ(resultOf(WAIT_OBJECT_0), 1);
    EXPECT_EQ(resultOf(WAIT_TIMEOUT), -1);
    EXPECT_EQ(resultOf(WAIT_FAILED), 0);
    EXPECT_EQ(resultOf(WAIT_ABANDONED_0), 0);
}

TEST_F(MProcessEventFaultTest, WaitPassesWholeMillisecondsOn) {
    MProcessEvent event("");
    std::vector<DWORD> timeouts;
    const test::Fault fault(fault_WaitForMultipleObjects, [&](DWORD, const HANDLE*, BOOL, DWORD timeoutMs) {
        timeouts.push_back(timeoutMs);
        return DWORD{WAIT_TIMEOUT};
    });
    for (const double seconds : {-1.0, -0.001, 0.0009, 1.999, 1.9999, 2.0}) EXPECT_EQ(event.Wait(seconds), -1);
    EXPECT_THAT(timeouts, ElementsAre(4294966296u, INFINITE, 0u, 1999u, 1999u, 2000u));
}

TEST_F(MProcessEventFaultTest, NotifyReportsARefusalAndSetDoesNot) {
    MProcessEvent event("");
    const test::Fault fault(fault_SetEvent, refuse);
    EXPECT_FALSE(event.Set());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
    EXPECT_FALSE(event.Notify());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MEvent_Notify(): SetEvent() failed: 5"));
    EXPECT_THAT(_recorder.errors(), IsEmpty());
}

}  // namespace
