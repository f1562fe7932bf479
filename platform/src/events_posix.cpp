// Auto-reset events on one word per event (event_state.h), shared between processes.
//
// A seat belongs to a process: the kernel frees its lock (object_locks_posix.h) when the process ends, however it ends.
// If a process gets the lock of a seat that looks taken, the sitter has died, and the process passes on the dead
// sitter's signal. Only the lock's holder takes or clears a seat.

#include <atomic>
#include <bit>
#include <cerrno>
#include <climits>
#include <new>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "event_state.h"
#include "handle_table_posix.h"
#include "last_error_posix.h"
#include "object_file_posix.h"

namespace {

constexpr int kSeatsKept = 4;  // by a process, for its next waits; the others are for all
constexpr long kNanosecondsPerSecond = 1'000'000'000;

constexpr std::uint32_t bitOf(unsigned seat) { return 1u << seat; }

timespec timeAfter(timespec time, long nanoseconds) {
    time.tv_nsec += nanoseconds;
    if (time.tv_nsec >= kNanosecondsPerSecond) {
        time.tv_nsec -= kNanosecondsPerSecond;
        ++time.tv_sec;
    }
    return time;
}

timespec monotonicNow() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

bool hasPassed(const timespec* deadline) {
    if (!deadline) return false;
    const timespec now = monotonicNow();
    return now.tv_sec > deadline->tv_sec || (now.tv_sec == deadline->tv_sec && now.tv_nsec >= deadline->tv_nsec);
}

class EventObject : public KernelObject {
public:
    explicit EventObject(std::shared_ptr<ObjectFile> file) : _file(std::move(file)) {}

    /// An event that nobody waits for costs no system call.
    void set() {
        unsigned seat = kNoSeat;
        const EventState before = release(kNoSeat, seat);
        // Released waiters that have not stood up are running already, unless their setter died before it woke them.
        if (before.releasedSeats() != 0) wake(before.releasedSeats());
        // A sleeping waiter that cannot be woken has just woken up by itself or has died; if it died, the next one is
        // released.
        while (seat != kNoSeat && !wake(bitOf(seat)) && claim(seat)) {
            const unsigned dead = seat;
            release(dead, seat);
            disclaim(dead);
        }
    }

    /// Takes a signal if one is kept, or was left by a released waiter that has died.
    bool take() {
        EventState now = load();
        while (now.isKept() || !now.isSound()) {
            if (takeKept(now)) return true;
        }
        return now.releasedSeats() != 0 && takeLeftBehind(now.releasedSeats());
    }

    /// @param deadline  On the monotonic clock; null: no limit.
    /// @return          True when the wait was released, false when the deadline passed.
    bool wait(const timespec* deadline) {
        if (take()) return true;
        unsigned seat = findSeat();
        while (seat == kNoSeat) {  // all seats are taken: look again and again
            if (hasPassed(deadline)) return take();
            constexpr long kLookAgain = 1'000'000;
            const timespec pause{0, kLookAgain};
            clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
            if (take()) return true;
            seat = findSeat();
        }
        const bool released = waitIn(seat, deadline);
        standUp(seat);
        return released || take();
    }

private:
    EventSeats& seats() const { return _file->seats(); }
    std::atomic_ref<std::uint64_t> word() const { return std::atomic_ref(_file->page()->state); }
    std::atomic_ref<std::uint32_t> turn() const { return std::atomic_ref(_file->page()->turn); }
    // The half that holds `released`: the machine is little-endian.
    void* futexWord() const { return &_file->page()->state; }

    EventState load() const { return EventState::of(word().load(std::memory_order_seq_cst)); }

    /// One step: from `now` to `next`. Otherwise false, and `now` receives the current word.
    bool change(EventState& now, EventState next) const {
        std::uint64_t expected = now.word();
        if (word().compare_exchange_strong(expected, next.word(), std::memory_order_seq_cst)) return true;
        now = EventState::of(expected);
        return false;
    }

    bool wake(std::uint32_t seatBits) const {
        return syscall(SYS_futex, futexWord(), FUTEX_WAKE_BITSET, INT_MAX, nullptr, nullptr, seatBits) > 0;
    }

    /// Releases the next waiter, or keeps the signal. A kept signal is stored again, so that whoever takes it sees what
    /// was written before this set.
    ///
    /// @param dead  A seat whose lock this process has: the same step clears it and passes on its signal. Nothing
    ///              happens if it has no signal (its sitter took it before leaving the seat). kNoSeat: a new signal.
    /// @param seat  Receives the seat that was released; kNoSeat: none.
    /// @return      The state before.
    EventState release(unsigned dead, unsigned& seat) const {
        EventState now = load();
        for (;;) {
            seat = kNoSeat;
            EventState next = now;
            if (dead != kNoSeat) {
                if (!now.isReleased(dead)) return now;
                next = now.without(dead);
            }
            seat = next.nextToRelease(turn().load(std::memory_order_relaxed));
            if (change(now, next.withReleased(seat))) break;
        }
        if (seat != kNoSeat) turn().store(seat, std::memory_order_relaxed);
        return now;
    }

    /// Takes the kept signal. A word that no step leads to also counts as one signal; the word is then reset to 0.
    bool takeKept(EventState& now) const {
        if (now.isSound()) return change(now, now.withoutKept());
        if (!change(now, EventState{})) return false;
        wake(FUTEX_BITSET_MATCH_ANY);  // those who sat there sit down again
        return true;
    }

    /// Takes the signal of a waiter in another process that was released and died before it ran.
    bool takeLeftBehind(std::uint32_t released) const {
        for (unsigned seat = 0; seat < kEventSeats; ++seat) {
            if ((released & bitOf(seat)) == 0 || !claim(seat)) continue;
            EventState now = load();
            while (now.isReleased(seat) && !change(now, now.without(seat))) {
            }
            disclaim(seat);
            if (now.isReleased(seat)) return true;
        }
        return false;
    }

    /// Sits in a seat until released, or until the deadline has passed; then leaves the seat empty.
    bool waitIn(unsigned seat, const timespec* deadline) const {
        EventState now = load();
        bool late = false;
        for (;;) {
            if (now.isReleased(seat)) {
                if (change(now, now.without(seat))) return true;
            } else if (now.isKept() || !now.isSound()) {
                if (takeKept(now)) return true;
            } else if (late) {
                if (change(now, now.without(seat))) return false;
            } else if (now.isSeated(seat) || change(now, now.with(seat))) {
                late = !sleep(seat, now.released, deadline);
                now = load();
            }
        }
    }

    /// Sleeps while exactly these seats are released. False when the deadline has passed.
    bool sleep(unsigned seat, std::uint32_t released, const timespec* deadline) const {
        return syscall(SYS_futex, futexWord(), FUTEX_WAIT_BITSET, released, deadline, nullptr, bitOf(seat)) == 0 ||
               errno != ETIMEDOUT;
    }

    /// A seat of this process that none of its threads uses, or a new one. kNoSeat: none is free.
    unsigned findSeat() const {
        std::uint32_t free = seats().free.load(std::memory_order_relaxed);
        while (free != 0) {
            const auto seat = static_cast<unsigned>(std::countr_zero(free));
            if (seats().free.compare_exchange_weak(free, free & ~bitOf(seat), std::memory_order_acquire)) return seat;
        }
        for (unsigned seat = 0; seat < kEventSeats; ++seat) {
            if (claim(seat)) return seat;
        }
        return kNoSeat;
    }

    /// Keeps the seat, so that the next wait of this process finds it without a system call, unless there are enough
    /// already.
    void standUp(unsigned seat) const {
        if (std::popcount(seats().own.load(std::memory_order_relaxed)) > kSeatsKept)
            disclaim(seat);
        else
            seats().free.fetch_or(bitOf(seat), std::memory_order_release);
    }

    /// Makes a seat this process's own. False when it is already, or when it belongs to another living process.
    bool claim(unsigned seat) const {
        if ((seats().own.load(std::memory_order_relaxed) & bitOf(seat)) != 0) return false;
        if ((seats().own.fetch_or(bitOf(seat), std::memory_order_acquire) & bitOf(seat)) != 0) return false;
        if (ObjectLocks_TakeSeat(_file->descriptor(), seat)) return true;
        seats().own.fetch_and(~bitOf(seat), std::memory_order_release);
        return false;
    }

    void disclaim(unsigned seat) const {
        ObjectLocks_LeaveSeat(_file->descriptor(), seat);
        seats().own.fetch_and(~bitOf(seat), std::memory_order_release);
    }

    std::shared_ptr<ObjectFile> _file;
};

HANDLE openHandle(std::shared_ptr<ObjectFile> file, bool existed, DWORD rights) {
    if (!file) return nullptr;
    const HANDLE handle = HandleTable_Open(std::make_shared<EventObject>(std::move(file)), rights);
    if (handle) SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

timespec deadlineAfter(DWORD milliseconds) {
    timespec time = monotonicNow();
    time.tv_sec += milliseconds / 1000;
    return timeAfter(time, static_cast<long>(milliseconds % 1000) * 1'000'000);
}

// INVALID_HANDLE_VALUE is also the pseudo handle of the process itself, which signals when it ends: a wait never sees
// it.
DWORD waitForThisProcess(DWORD timeoutMs) {
    if (timeoutMs == INFINITE) {
        for (;;) pause();
    }
    const timespec deadline = deadlineAfter(timeoutMs);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) continue;
    return WAIT_TIMEOUT;
}

}  // namespace

extern "C" HANDLE CreateEventA(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState, LPCSTR name) try {
    if (manualReset) return platform_failWith<HANDLE>(ERROR_NOT_SUPPORTED, nullptr);
    bool existed = false;
    auto file = ObjectFile_Create(name, ObjectKind::event, 0, initialState != FALSE, existed);
    return openHandle(std::move(file), existed, EVENT_ALL_ACCESS);
} catch (const std::bad_alloc&) {
    return platform_failWith<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

extern "C" HANDLE OpenEventA(DWORD access, BOOL, LPCSTR name) try {
    return openHandle(ObjectFile_Open(name, ObjectKind::event), false, access);
} catch (const std::bad_alloc&) {
    return platform_failWith<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

extern "C" BOOL SetEvent(HANDLE event) {
    const auto object = HandleTable_FindAs<EventObject>(event, EVENT_MODIFY_STATE);
    if (!object) return FALSE;
    object->set();
    return TRUE;
}

extern "C" DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL, DWORD timeoutMs) {
    if (count == 0 || !handles) return platform_failWith(ERROR_INVALID_PARAMETER, WAIT_FAILED);
    if (count > 1) return platform_failWith(ERROR_NOT_SUPPORTED, WAIT_FAILED);
    if (handles[0] == INVALID_HANDLE_VALUE) return waitForThisProcess(timeoutMs);
    HandleEntry entry = HandleTable_Find(handles[0]);
    if (entry.object && (entry.rights & SYNCHRONIZE) == 0) return platform_failWith(ERROR_ACCESS_DENIED, WAIT_FAILED);
    const auto object = HandleTable_As<EventObject>(std::move(entry), SYNCHRONIZE);
    if (!object) return WAIT_FAILED;
    if (timeoutMs == 0) return object->take() ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    if (timeoutMs == INFINITE) return object->wait(nullptr) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    const timespec deadline = deadlineAfter(timeoutMs);
    return object->wait(&deadline) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}
