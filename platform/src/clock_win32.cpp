#include <algorithm>

#include "platform.h"

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kSliceNanoseconds = 100'000'000;  // bounds how long a stop request waits

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
constexpr DWORD kHighResolution = 0x00000002;
#else
constexpr DWORD kHighResolution = CREATE_WAITABLE_TIMER_HIGH_RESOLUTION;
#endif

// A timer per call: sleeps are rare against its cost (microseconds), and no thread keeps a handle that nobody closes.
class Timer {
public:
    Timer() : _handle(CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, TIMER_ALL_ACCESS)) {
        if (!_handle) _handle = CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
    }
    ~Timer() {
        if (_handle) CloseHandle(_handle);
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void wait(std::int64_t nanoseconds) const {
        LARGE_INTEGER due;
        due.QuadPart = -((nanoseconds + 99) / 100);  // negative: from now, in 100 ns
        if (_handle && SetWaitableTimer(_handle, &due, 0, nullptr, nullptr, FALSE))
            WaitForSingleObject(_handle, INFINITE);
        else
            Sleep(static_cast<DWORD>((nanoseconds + 999'999) / 1'000'000));
    }

private:
    HANDLE _handle;
};

}  // namespace

std::int64_t platform_monotonicNanoseconds() {
    static const std::int64_t frequency = [] {
        LARGE_INTEGER countsPerSecond;
        QueryPerformanceFrequency(&countsPerSecond);
        return countsPerSecond.QuadPart;
    }();
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    // Seconds and rest apart, so that the product does not overflow.
    return count.QuadPart / frequency * kNanosecondsPerSecond +
           count.QuadPart % frequency * kNanosecondsPerSecond / frequency;
}

bool platform_sleepUntil(std::int64_t deadlineNanoseconds) {
    const Timer timer;
    for (;;) {
        if (platform_stopRequested()) return false;
        const std::int64_t remaining = deadlineNanoseconds - platform_monotonicNanoseconds();
        if (remaining <= 0) return true;
        timer.wait(std::min(remaining, kSliceNanoseconds));
    }
}
