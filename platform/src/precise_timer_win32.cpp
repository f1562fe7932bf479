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

constexpr std::int64_t kSliceNanoseconds = 100'000'000;  // bounds how long a stop request waits without its event

// Calibration: some short waits; the machine may have been busy during the worst one.
constexpr int kTrials = 7;
constexpr std::int64_t kTrialNanoseconds = 1'000'000;
constexpr std::int64_t kLeastMargin = 50'000;
constexpr std::int64_t kGreatestMargin = 2'500'000;  // to spin longer would cost more than it is worth

/// Waits by the system's timer; a stop request ends it.
void waitFor(void* timer, std::int64_t nanoseconds) {
    LARGE_INTEGER due;
    due.QuadPart = -std::max<std::int64_t>(nanoseconds / 100, 1);  // negative: from now, in 100 ns
    if (!timer || !SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE))
        return Sleep(static_cast<DWORD>(nanoseconds / 1'000'000));
    const HANDLE handles[] = {timer, stopEvent()};
    WaitForMultipleObjects(handles[1] ? 2 : 1, handles, FALSE, INFINITE);
}

/// How late the timer wakes, all but the worst time of several.
std::int64_t calibrate(void* timer) {
    std::int64_t late[kTrials];
    for (std::int64_t& trial : late) {
        const std::int64_t begin = platform_monotonicNanoseconds();
        waitFor(timer, kTrialNanoseconds);
        trial = platform_monotonicNanoseconds() - begin - kTrialNanoseconds;
    }
    std::sort(std::begin(late), std::end(late));
    return std::clamp(late[kTrials - 2] + kLeastMargin, kLeastMargin, kGreatestMargin);
}

}  // namespace

PreciseTimer::PreciseTimer() : _handle(CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, TIMER_ALL_ACCESS)) {
    if (!_handle) _handle = CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
    _margin = calibrate(_handle);
}

PreciseTimer::~PreciseTimer() {
    if (_handle) CloseHandle(_handle);
}

bool PreciseTimer::sleepUntil(std::int64_t deadlineNanoseconds) {
    for (;;) {
        if (platform_stopRequested()) return false;
        const std::int64_t remaining = deadlineNanoseconds - platform_monotonicNanoseconds();
        if (remaining <= 0) return true;
        if (remaining > _margin) {
            waitFor(_handle, std::min(remaining - _margin, kSliceNanoseconds));
        } else {
            YieldProcessor();
        }
    }
}
