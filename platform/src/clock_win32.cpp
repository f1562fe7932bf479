#include "platform.h"

std::int64_t platform_monotonicNanoseconds() {
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    static const std::int64_t frequency = [] {
        LARGE_INTEGER countsPerSecond;
        QueryPerformanceFrequency(&countsPerSecond);
        return countsPerSecond.QuadPart;
    }();
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    // Seconds and remainder separately, so that the product does not overflow.
    return count.QuadPart / frequency * kNanosecondsPerSecond +
           count.QuadPart % frequency * kNanosecondsPerSecond / frequency;
}
