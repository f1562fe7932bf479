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

// Calibration: some short waits; the machine may have been busy during the worst one. So close together they may all
// meet the system's timer in the same phase, which is why the margin goes on learning.
constexpr int kTrials = 7;
constexpr std::int64_t kTrialNanoseconds = 1'000'000;

struct WaitableTimer {
    void* handle;

    static std::int64_t now() { return platform_monotonicNanoseconds(); }
    static bool stopRequested() { return platform_stopRequested(); }
    static void spin() { YieldProcessor(); }

    /// Waits by the system's timer; a stop request ends it.
    void wait(std::int64_t nanoseconds) const {
        LARGE_INTEGER due;
        due.QuadPart = -std::max<std::int64_t>(nanoseconds / 100, 1);  // negative: from now, in 100 ns
        if (!handle || !SetWaitableTimer(handle, &due, 0, nullptr, nullptr, FALSE))
            return Sleep(static_cast<DWORD>(nanoseconds / 1'000'000));
        const HANDLE handles[] = {handle, stopEvent()};
        WaitForMultipleObjects(handles[1] ? 2 : 1, handles, FALSE, INFINITE);
    }
};

/// How late the timer wakes, all but the worst time of several.
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

}  // namespace

PreciseTimer::PreciseTimer() : _handle(CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, TIMER_ALL_ACCESS)) {
    if (!_handle) _handle = CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
    _margin = SleepMargin(calibrate({_handle}));
}

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
