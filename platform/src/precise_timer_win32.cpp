#include <algorithm>

#include "platform.h"
#include "precise_timer.h"
#include "stop_win32.h"

namespace {

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
constexpr DWORD kHighResolution = 0x00000002;
#else
constexpr DWORD kHighResolution = CREATE_WAITABLE_TIMER_HIGH_RESOLUTION;
#endif

// Calibration: some short waits; the machine may have been busy during the worst one. Such close waits may all meet the
// system's timer in the same phase, so the margin continues to learn.
constexpr int kTrials = 7;
constexpr std::int64_t kTrialNanoseconds = 1'000'000;

// The system's timer, a high-resolution one where available; null when the system has none left.
HANDLE createTimer() {
    const HANDLE timer = CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, TIMER_ALL_ACCESS);
    return timer ? timer : CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
}

struct WaitableTimer {
    HANDLE handle;

    static std::int64_t now() { return platform_monotonicNanoseconds(); }
    static bool stopRequested() { return platform_stopRequested(); }
    static void spin() { YieldProcessor(); }

    /// Waits by the system's timer; a stop request ends it.
    void wait(std::int64_t nanoseconds) const {
        LARGE_INTEGER due;
        due.QuadPart = -std::max<std::int64_t>((nanoseconds + 99) / 100, 1);  // negative: from now, in 100 ns
        if (!handle || !SetWaitableTimer(handle, &due, 0, nullptr, nullptr, FALSE))
            return Sleep(static_cast<DWORD>((nanoseconds + 999'999) / 1'000'000));
        const HANDLE handles[] = {handle, stopEvent()};
        WaitForMultipleObjects(handles[1] ? 2 : 1, handles, FALSE, INFINITE);
    }
};

/// How late the timer wakes: the second-worst of several times.
std::int64_t calibrate(const WaitableTimer& timer) {
    std::int64_t late[kTrials];
    for (std::int64_t& trial : late) {
        const std::int64_t begin = WaitableTimer::now();
        timer.wait(kTrialNanoseconds);
        trial = WaitableTimer::now() - begin - kTrialNanoseconds;
    }
    std::sort(std::begin(late), std::end(late));
    return late[kTrials - 2] + SleepMargin::kLeast;
}

bool waitUntil(std::int64_t deadlineNanoseconds, const WaitableTimer& timer) {
    for (;;) {
        if (platform_stopRequested()) return false;
        const std::int64_t remaining = deadlineNanoseconds - platform_monotonicNanoseconds();
        if (remaining <= 0) return true;
        timer.wait(std::min(remaining, SleepMargin::kLongestWait));
    }
}

}  // namespace

// One timer per call: its cost (microseconds) is small, sleeps are rare, and no thread keeps a handle that nobody
// closes.
bool platform_sleepUntil(std::int64_t deadlineNanoseconds) {
    const HANDLE handle = createTimer();
    const bool reached = waitUntil(deadlineNanoseconds, {handle});
    if (handle) CloseHandle(handle);
    return reached;
}

PreciseTimer::PreciseTimer() : _handle(createTimer()), _margin(calibrate({_handle})) {}

PreciseTimer::~PreciseTimer() {
    if (_handle) CloseHandle(_handle);
}

bool PreciseTimer::sleepUntil(std::int64_t deadlineNanoseconds) {
    WaitableTimer timer{_handle};
    return _margin.sleepUntil(deadlineNanoseconds, timer);
}

bool PreciseTimer::sleepUntilAbout(std::int64_t deadlineNanoseconds) {
    WaitableTimer timer{_handle};
    return _margin.sleepUntil(deadlineNanoseconds, timer, false);
}
