// Events whose waiters and setters are stopped between two steps. The linker replaces syscall by __wrap_syscall, so
// each call of the kernel is such a place. Meanwhile the test acts as another process.
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <linux/futex.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "child_process.h"
#include "object_handles.h"
#include "platform.h"

using namespace std::chrono_literals;
using test::ObjectHandle;

namespace {

std::function<void()> beforeSleep;
std::function<void()> beforeWake;
std::function<void()> afterWake;

void runOnce(std::function<void()>& step) {
    if (const auto now = std::exchange(step, nullptr)) now();
}

}  // namespace

extern "C" long __real_syscall(long number, ...);
extern "C" long __wrap_syscall(long number, ...);
long __wrap_syscall(long number, ...) {
    std::va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments) argument = va_arg(list, long);
    va_end(list);
    const bool isFutex = number == SYS_futex;
    const bool wakes = isFutex && static_cast<int>(arguments[1]) == FUTEX_WAKE_BITSET;
    if (isFutex) runOnce(wakes ? beforeWake : beforeSleep);
    const long result =
        __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
    if (wakes) runOnce(afterWake);
    return result;
}

namespace {

DWORD waitFor(HANDLE event, DWORD milliseconds) { return WaitForMultipleObjects(1, &event, FALSE, milliseconds); }

// What both processes tell each other without an event.
struct Board {
    std::atomic<int> waiter;  // a Step
    std::atomic<int> go;      // 1: the waiter continues
};
enum Step { begun = 1, beforeItsSleep, hasClosed };

void await(const std::atomic<int>& word, int value) {
    const auto limit = std::chrono::steady_clock::now() + 60s;
    while (word < value && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
}

Board* boardOf(HANDLE memory) { return static_cast<Board*>(MapViewOfFile(memory, FILE_MAP_ALL_ACCESS, 0, 0, 0)); }

}  // namespace

// Takes a seat, stops before it sleeps, and continues when told to; then waits to be killed, with the event closed.
CHILD_ROLE(stopsBeforeItSleeps) {
    ObjectHandle event(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(0).c_str()));
    const ObjectHandle memory(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
    Board* const board = boardOf(memory.get());
    if (!event.get() || !board) return 1;
    beforeSleep = [&] {
        board->waiter = beforeItsSleep;
        await(board->go, 1);
    };
    if (waitFor(event.get(), INFINITE) != WAIT_OBJECT_0) return 2;
    event.close();
    board->waiter = hasClosed;
    std::this_thread::sleep_for(30s);
    return 0;
}

class EventSteps : public testing::Test {
protected:
    EventSteps() { await(_board->waiter, beforeItsSleep); }
    ~EventSteps() override { UnmapViewOfFile(_board); }

    int signals() const {
        int count = 0;
        while (count < 100 && waitFor(_event.get(), 0) == WAIT_OBJECT_0) ++count;
        return count;
    }
    void letTheWaiterGoOnAndClose() const {
        _board->go = 1;
        await(_board->waiter, hasClosed);
    }

    std::string _name = test::uniqueName("event");
    std::string _boardName = test::uniqueName("board");
    ObjectHandle _event{CreateEventA(nullptr, FALSE, FALSE, _name.c_str())};
    ObjectHandle _memory{
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Board), _boardName.c_str())};
    Board* _board = boardOf(_memory.get());
    test::ChildProcess _waiter{"stopsBeforeItSleeps", {_name, _boardName}};
};

TEST_F(EventSteps, AWaiterThatDoesNotSleepYetIsReleasedByASet) {
    SetEvent(_event.get());
    letTheWaiterGoOnAndClose();
    EXPECT_EQ(_board->waiter, hasClosed);
    EXPECT_EQ(signals(), 0);
    _waiter.kill();
}

TEST_F(EventSteps, AWaiterThatTakesItsSignalAndClosesTheEventDoesNotMakeTheSetCountTwice) {
    afterWake = [&] { letTheWaiterGoOnAndClose(); };  // the setter has seen that nobody sleeps
    SetEvent(_event.get());
    EXPECT_EQ(_board->waiter, hasClosed);
    EXPECT_EQ(signals(), 0);
    _waiter.kill();
}

TEST_F(EventSteps, AWaiterThatIsKilledBetweenReleaseAndWakeLeavesTheSignal) {
    beforeWake = [&] { _waiter.kill(); };
    SetEvent(_event.get());
    EXPECT_EQ(signals(), 1);
}

TEST_F(EventSteps, AWaiterThatIsKilledAfterTheWakeThatFoundNobodyLeavesTheSignal) {
    afterWake = [&] { _waiter.kill(); };
    SetEvent(_event.get());
    EXPECT_EQ(signals(), 1);
}

TEST_F(EventSteps, AWaiterThatIsKilledAfterTheSetLeavesTheSignal) {
    SetEvent(_event.get());
    EXPECT_EQ(signals(), 0);  // it lives
    _waiter.kill();
    EXPECT_EQ(signals(), 1);
}

TEST_F(EventSteps, AWaiterThatIsKilledBeforeItSleptTakesNoSet) {
    _waiter.kill();
    SetEvent(_event.get());
    SetEvent(_event.get());
    EXPECT_EQ(signals(), 1);
}
