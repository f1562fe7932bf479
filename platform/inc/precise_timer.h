// Sleeps that end on time: within some ten microseconds on an idle machine, on both systems.
#pragma once

#include <cstdint>

#include "sleep_margin.h"

/// One thread's: the one that makes it, sleeps and destroys it.
///
/// Linux: the thread's timer slack is 1 ns as long as the timer lives. Windows: a high-resolution timer where there is
/// one, else the plain one; it wakes early by how late it was found to wake when the timer was made (which takes about
/// 10 ms) and at each sleep since, and the rest is spun.
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

    /// As sleepUntil, but without spinning: wakes somewhat before the deadline or after it.
    bool sleepUntilAbout(std::int64_t deadlineNanoseconds);

private:
    [[maybe_unused]] void* _handle = nullptr;  // Windows: of the system's timer
    SleepMargin _margin{0};
    [[maybe_unused]] long _formerSlack = 0;  // Linux: ns
};
