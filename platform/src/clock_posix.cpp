#include <algorithm>

#include <time.h>

#include "platform.h"

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
// A stop request that arrives on another thread does not interrupt the sleep; this bounds how late it is noticed.
constexpr std::int64_t kSliceNanoseconds = 100'000'000;

}  // namespace

std::int64_t platform_monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * kNanosecondsPerSecond + now.tv_nsec;
}

bool platform_sleepUntil(std::int64_t deadlineNanoseconds) {
    for (;;) {
        if (platform_stopRequested()) return false;
        const std::int64_t now = platform_monotonicNanoseconds();
        if (now >= deadlineNanoseconds) return true;
        const std::int64_t target = std::min(deadlineNanoseconds, now + kSliceNanoseconds);
        const timespec until{static_cast<time_t>(target / kNanosecondsPerSecond),
                             static_cast<long>(target % kNanosecondsPerSecond)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until,
                        nullptr);  // a signal ends it early: the loop looks again
    }
}

extern "C" BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
    count->QuadPart = platform_monotonicNanoseconds();
    return TRUE;
}

extern "C" BOOL QueryPerformanceFrequency(LARGE_INTEGER* countsPerSecond) {
    countsPerSecond->QuadPart = kNanosecondsPerSecond;
    return TRUE;
}
