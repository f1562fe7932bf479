// Waits that announce their beginning to another thread or process, for the tests of this folder. On Windows the system
// announces and waits in one call; on Linux the kernel tells what a thread is doing.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "child_process.h"
#include "object_handles.h"
#include "platform.h"
#if !defined(_WIN32)
#include <fstream>

#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace test {

/// Where one waiter announces itself; may be in shared memory, zeroed.
struct Announcement {
    std::atomic<std::int32_t> thread{0};  // on Linux: the waiting thread's number
};

#if defined(_WIN32)

/// Waits for an event. @param ready  An event used by this announcement alone.
inline DWORD announceAndWait(Announcement&, HANDLE ready, HANDLE event, DWORD milliseconds) {
    return SignalObjectAndWait(ready, event, milliseconds, FALSE);
}

/// Returns when the announced wait has begun; false when none has begun within 20 s.
inline bool awaitWaiting(const Announcement&, HANDLE ready) {
    return WaitForMultipleObjects(1, &ready, FALSE, 60'000) == WAIT_OBJECT_0;
}

#else

inline DWORD announceAndWait(Announcement& announcement, HANDLE, HANDLE event, DWORD milliseconds) {
    announcement.thread = static_cast<std::int32_t>(syscall(SYS_gettid));
    return WaitForMultipleObjects(1, &event, FALSE, milliseconds);
}

/// Whether a thread sleeps in a futex call. Otherwise the file says "running" or another call's number.
inline bool sleepsOnAFutex(std::int32_t thread) {
    std::string call;
    std::ifstream("/proc/" + std::to_string(thread) + "/syscall") >> call;
    return call == std::to_string(SYS_futex);
}

inline bool awaitWaiting(const Announcement& announcement, HANDLE) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < limit) {
        if (announcement.thread != 0 && sleepsOnAFutex(announcement.thread)) return true;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return false;
}

#endif

/// A thread inside a wait for an event.
class Sleeper {
public:
    Sleeper(HANDLE event, DWORD milliseconds)
        : _ready(CreateEventA(nullptr, FALSE, FALSE, nullptr)), _thread([this, event, milliseconds] {
              _result = announceAndWait(_announcement, _ready.get(), event, milliseconds);
              _released = true;
          }) {
        _sleeps = awaitWaiting(_announcement, _ready.get());
    }
    ~Sleeper() {
        if (_thread.joinable()) _thread.join();
    }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    bool sleeps() const { return _sleeps; }
    /// Whether the wait has ended.
    bool isReleased() const { return _released; }
    /// The result of the wait.
    DWORD result() {
        if (_thread.joinable()) _thread.join();
        return _result;
    }

private:
    Announcement _announcement;
    ObjectHandle _ready;
    DWORD _result = WAIT_FAILED;
    bool _sleeps = false;
    std::atomic<bool> _released{false};
    std::thread _thread;
};

/// Another process inside an endless wait for an event (role waitsForEventUntilKilled); it returns 0 when released.
class SleepingProcess {
public:
    explicit SleepingProcess(const std::string& eventName)
        : _ready(CreateEventA(nullptr, FALSE, FALSE, _readyName.c_str())),
          _memory(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, _memoryName.c_str())),
          _announcement(static_cast<Announcement*>(MapViewOfFile(_memory.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0))),
          _child("waitsForEventUntilKilled", {eventName, _readyName, _memoryName}) {
        _sleeps = awaitWaiting(*_announcement, _ready.get());
    }
    ~SleepingProcess() { UnmapViewOfFile(_announcement); }
    SleepingProcess(const SleepingProcess&) = delete;
    SleepingProcess& operator=(const SleepingProcess&) = delete;

    bool sleeps() const { return _sleeps; }
    ChildProcess& child() { return _child; }
    /// On Linux its process id.
    std::int32_t id() const { return _announcement->thread; }

private:
    std::string _readyName = uniqueName("ready");
    std::string _memoryName = uniqueName("announcement");
    ObjectHandle _ready;
    ObjectHandle _memory;
    Announcement* _announcement;
    ChildProcess _child;
    bool _sleeps = false;
};

}  // namespace test
