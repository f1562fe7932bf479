// Sleeps that end on time: within some ten microseconds on an idle machine, on both systems.
#pragma once

#include <cstdint>

#include "sleep_margin.h"

/// Belongs to one thread, which creates it, sleeps and destroys it.
///
/// Linux: the thread's timer slack is 1 ns as long as the timer lives. Windows: a high-resolution timer where
/// available, otherwise the plain one. The timer is set to expire early, by the lateness measured so far, and the
/// remaining time is spent spinning. The lateness is first measured when the timer is created (about 10 ms), then at
/// each sleep.
class PreciseTimer {
public:
    PreciseTimer();
    ~PreciseTimer();
    PreciseTimer(const PreciseTimer&) = delete;
    PreciseTimer& operator=(const PreciseTimer&) = delete;

    /// Sleeps until the monotonic clock has reached the deadline, never shorter.
    ///
    /// @return  true when the deadline was reached; false, at once, when a stop was requested
    ///          (platform_installStopHandler). On Linux that takes up to 100 ms when another thread got the signal.
    bool sleepUntil(std::int64_t deadlineNanoseconds);

    /// Same as sleepUntil, but without spinning: wakes somewhat before or after the deadline.
    bool sleepUntilAbout(std::int64_t deadlineNanoseconds);

private:
    [[maybe_unused]] void* _handle = nullptr;  // Windows: the system's timer
    SleepMargin _margin{0};
    [[maybe_unused]] long _formerSlack = 0;  // Linux: ns
};
