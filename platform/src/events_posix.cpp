// Auto-reset events on one futex word per event, shared between processes.

#include <atomic>
#include <cerrno>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "handle_table_posix.h"
#include "last_error_posix.h"
#include "object_file_posix.h"

namespace {

class EventObject : public KernelObject {
public:
    explicit EventObject(std::shared_ptr<ObjectFile> file) : _file(std::move(file)) {}

    void set() {
        // Both are sequentially consistent, and so are the waiter's count and look: either the waiter sees the signal
        // or this sees the waiter. An event that is signalled already, or that nobody waits for, costs no system call.
        if (word().exchange(1, std::memory_order_seq_cst) == 1) return;
        if (waiters().load(std::memory_order_seq_cst) > 0)
            syscall(SYS_futex, wordAddress(), FUTEX_WAKE, 1, nullptr, nullptr, 0);
    }

    /// @param deadline  On the monotonic clock; null waits for ever.
    /// @return          True when the signal was taken, false when the deadline passed.
    bool wait(const timespec* deadline) {
        if (take()) return true;
        waiters().fetch_add(1, std::memory_order_seq_cst);
        bool taken = take();
        while (!taken) {
            const long result =
                syscall(SYS_futex, wordAddress(), FUTEX_WAIT_BITSET, 0, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
            taken = take();
            if (!taken && result != 0 && errno == ETIMEDOUT) break;
        }
        waiters().fetch_sub(1, std::memory_order_seq_cst);
        return taken;
    }

    /// Takes the signal if there is one.
    bool take() {
        std::uint32_t signalled = 1;
        return word().compare_exchange_strong(signalled, 0, std::memory_order_seq_cst);
    }

private:
    std::uint32_t* wordAddress() const { return &_file->page()->signalled; }
    std::atomic_ref<std::uint32_t> word() const { return std::atomic_ref(_file->page()->signalled); }
    std::atomic_ref<std::uint32_t> waiters() const { return std::atomic_ref(_file->page()->waiters); }

    std::shared_ptr<ObjectFile> _file;
};

HANDLE openHandle(std::shared_ptr<ObjectFile> file, bool existed, DWORD rights) {
    if (!file) return nullptr;
    const HANDLE handle = HandleTable_Open(std::make_shared<EventObject>(std::move(file)), rights);
    if (handle) SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

timespec deadlineAfter(DWORD milliseconds) {
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += milliseconds / 1000;
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (time.tv_nsec >= kNanosecondsPerSecond) {
        time.tv_nsec -= kNanosecondsPerSecond;
        ++time.tv_sec;
    }
    return time;
}

// INVALID_HANDLE_VALUE is also the pseudo handle of the process itself, which signals when it ends: never to a wait.
DWORD waitForThisProcess(DWORD timeoutMs) {
    while (timeoutMs == INFINITE) pause();
    const timespec deadline = deadlineAfter(timeoutMs);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) continue;
    return WAIT_TIMEOUT;
}

}  // namespace

extern "C" HANDLE CreateEventA(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState, LPCSTR name) {
    if (manualReset) return platform_failWith<HANDLE>(ERROR_NOT_SUPPORTED, nullptr);
    bool existed = false;
    auto file = ObjectFile_Create(name, ObjectKind::event, 0, initialState != FALSE, existed);
    return openHandle(std::move(file), existed, EVENT_ALL_ACCESS);
}

extern "C" HANDLE OpenEventA(DWORD access, BOOL, LPCSTR name) {
    return openHandle(ObjectFile_Open(name, ObjectKind::event), false, access);
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
