// States of an event that only an accident leaves behind: a process killed between two steps, or bytes that somebody
// else has written. The tests write them into the object's file, as another process would leave them.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <ostream>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include "announced_wait.h"
#include "object_handles.h"
#include "platform.h"

using test::ObjectHandle;
using test::Sleeper;
using test::SleepingProcess;

namespace {

constexpr off_t kStateOffset = 24;
constexpr std::uint64_t kKept = 1ull << 31;

constexpr std::uint64_t seated(unsigned seat) { return 1ull << (32 + seat); }
constexpr std::uint64_t released(unsigned seat) { return 1ull << seat | seated(seat); }

DWORD waitFor(HANDLE event, DWORD milliseconds) { return WaitForMultipleObjects(1, &event, FALSE, milliseconds); }

class LeftState : public testing::Test {
protected:
    LeftState()
        : _event(CreateEventA(nullptr, FALSE, FALSE, _name.c_str())), _file(open(path().c_str(), O_RDWR | O_CLOEXEC)) {}
    ~LeftState() override { close(_file); }

    std::string path() const {
        return "/dev/shm/dorven-objects-" + std::to_string(geteuid()) + "/" + std::getenv("PLATFORM_OBJECT_NAMESPACE") +
               "/" + _name;
    }

    std::uint64_t state() const {
        std::uint64_t value = 1;
        EXPECT_EQ(pread(_file, &value, sizeof value, kStateOffset), static_cast<ssize_t>(sizeof value));
        return value;
    }
    void leave(std::uint64_t value) const {
        ASSERT_EQ(pwrite(_file, &value, sizeof value, kStateOffset), static_cast<ssize_t>(sizeof value));
    }
    void expectOneSignal() const {
        EXPECT_EQ(waitFor(_event.get(), 0), WAIT_OBJECT_0);
        EXPECT_EQ(waitFor(_event.get(), 0), WAIT_TIMEOUT);
    }
    /// The event works like a new one: it does not wait for ever, keeps one signal, and releases a sleeping waiter.
    void expectUsable() const {
        EXPECT_EQ(waitFor(_event.get(), 5), WAIT_TIMEOUT);
        SetEvent(_event.get());
        SetEvent(_event.get());
        expectOneSignal();
        Sleeper sleeper(_event.get(), 60'000);
        SetEvent(_event.get());
        EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
        EXPECT_EQ(waitFor(_event.get(), 0), WAIT_TIMEOUT);
    }

    std::string _name = "left-" + std::to_string(getpid());
    ObjectHandle _event;
    int _file;
};

struct Value {
    const char* what;
    std::uint64_t state;
    friend void PrintTo(const Value& value, std::ostream* out) { *out << value.what; }
};

std::string nameOf(const testing::TestParamInfo<Value>& info) { return info.param.what; }

class ForeignBytes : public LeftState, public testing::WithParamInterface<Value> {};

}  // namespace

TEST_P(ForeignBytes, CountAsOneSignalAndTheStateIsZeroAfterIt) {
    leave(GetParam().state);
    EXPECT_EQ(waitFor(_event.get(), 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(state(), 0u);
    expectUsable();
}

TEST_P(ForeignBytes, DoNotKeepAWaitThatHasBegunFromBeingReleased) {
    Sleeper sleeper(_event.get(), 60'000);
    leave(GetParam().state);
    EXPECT_EQ(waitFor(_event.get(), 0), WAIT_OBJECT_0);
    SetEvent(_event.get());
    EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
}

INSTANTIATE_TEST_SUITE_P(LeftState, ForeignBytes,
                         testing::Values(Value{"ReleasedButNotSeated", 2}, Value{"Seven", 7},
                                         Value{"NoSuchSeat", 1ull << 63}, Value{"KeptWhileOneWaits", kKept | seated(3)},
                                         Value{"AllBits", ~0ull}, Value{"Text", 0x21646c726f57206full}),
                         nameOf);

class LeftBehind : public LeftState, public testing::WithParamInterface<Value> {};

TEST_P(LeftBehind, WaitersThatDiedHoldNoSignalBack) {
    leave(GetParam().state);
    expectUsable();
}

INSTANTIATE_TEST_SUITE_P(LeftState, LeftBehind,
                         testing::Values(Value{"OneSeated", seated(0)}, Value{"SomeSeated", seated(1) | seated(30)},
                                         Value{"AllSeated", 0x7FFFFFFFull << 32}),
                         nameOf);

TEST_F(LeftState, TheSignalOfOneThatDiedAfterItsReleaseIsThereForThePoll) {
    leave(released(4) | seated(5));
    expectOneSignal();
    expectUsable();
}

TEST_F(LeftState, TheSignalOfOneThatDiedAfterItsReleaseIsFoundWhenAWaitRunsOut) {
    Sleeper sleeper(_event.get(), 200);
    leave(state() | released(20));
    EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(_event.get(), 0), WAIT_TIMEOUT);
    expectUsable();
}

TEST_F(LeftState, ASetPassesOverSeatsOfTheDeadToOneThatSleeps) {
    Sleeper sleeper(_event.get(), 60'000);
    leave(state() | 0x7FFFFFFFull << 32);
    SetEvent(_event.get());
    EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
    expectUsable();
}

TEST_F(LeftState, AReleaseWhoseSetterDiedBeforeItWokeAnybodyComesWithTheNextSet) {
    Sleeper sleeper(_event.get(), 60'000);
    leave(state() | state() >> 32);
    SetEvent(_event.get());
    EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
    expectOneSignal();
    expectUsable();
}

TEST_F(LeftState, AReleaseWhoseSetterDiedBeforeItWokeAnybodyCountsWhenTheWaitRunsOut) {
    Sleeper sleeper(_event.get(), 200);
    leave(state() | state() >> 32);
    EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(_event.get(), 0), WAIT_TIMEOUT);
}

namespace {

constexpr unsigned kSeats = 31;

// Counts the seats locked by all processes.
unsigned lockedSeats(int file) {
    constexpr off_t kFirstSeatByte = 64;
    unsigned count = 0;
    for (unsigned seat = 0; seat < kSeats; ++seat) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = kFirstSeatByte + static_cast<off_t>(seat);
        lock.l_len = 1;
        if (fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) ++count;
    }
    return count;
}

}  // namespace

TEST_F(LeftState, AProcessThatHadManyWaitsAtATimeLeavesSeatsToOthers) {
    std::list<Sleeper> sleepers;
    for (unsigned i = 0; i < kSeats; ++i) sleepers.emplace_back(_event.get(), 60'000);
    EXPECT_EQ(lockedSeats(_file), kSeats);
    for (unsigned i = 0; i < kSeats; ++i) SetEvent(_event.get());
    for (Sleeper& sleeper : sleepers) EXPECT_EQ(sleeper.result(), WAIT_OBJECT_0);
    EXPECT_EQ(state(), 0u);
    SleepingProcess other(_name);
    EXPECT_TRUE(other.sleeps()) << "it looks again and again";
    SetEvent(_event.get());
    EXPECT_EQ(other.child().join(std::chrono::seconds(60)), 0);
    expectUsable();
}

TEST_F(LeftState, AProcessKeepsTheSeatThatItUsesAgainAndAgain) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(waitFor(_event.get(), 1), WAIT_TIMEOUT);
    EXPECT_EQ(lockedSeats(_file), 1u) << "the next wait needs no lock";
}

// A stopped process does not stand up when it is woken, so it can be killed in between.
TEST_F(LeftState, AProcessThatIsKilledBetweenItsReleaseAndItsNextStepHandsTheSignalOn) {
    SleepingProcess waiter(_name);
    ASSERT_TRUE(waiter.sleeps());
    ASSERT_EQ(kill(waiter.id(), SIGSTOP), 0);
    SetEvent(_event.get());
    EXPECT_EQ(waitFor(_event.get(), 0), WAIT_TIMEOUT);  // it lives: the signal is its own
    waiter.child().kill();
    expectOneSignal();
    expectUsable();
}
