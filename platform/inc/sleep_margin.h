// Sleeps that ask the system to wake them somewhat before their deadline, and spin for the rest.
#pragma once

#include <algorithm>
#include <cstdint>

/// How much before. It learns from every wake-up, so that about one in two hundred comes after the deadline: a late
/// wake-up raises the margin by 200 times the amount by which one in time lowers it. (Stochastic approximation of a
/// quantile, Robbins and Monro 1951, with constant steps.) An extremely late wake-up moves the margin no further than
/// any other.
class SleepMargin {
public:
    static constexpr std::int64_t kLeast = 50'000;             // ns
    static constexpr std::int64_t kGreatest = 2'500'000;       // ns; spinning longer would cost more than it gains
    static constexpr std::int64_t kRaise = 100'000;            // ns
    static constexpr std::int64_t kLower = kRaise / 200;       // ns
    static constexpr std::int64_t kLongestWait = 100'000'000;  // ns; a stop request is noticed within this time

    /// @param first  first guess in ns
    explicit SleepMargin(std::int64_t first) : _margin(std::clamp(first, kLeast, kGreatest)) {}

    /// @return  ns
    std::int64_t get() const { return _margin; }

    /// @param late  ns by which the system woke later than asked
    void learn(std::int64_t late) {
        _margin = std::clamp(_margin + (late > _margin ? kRaise : -kLower), kLeast, kGreatest);
    }

    /// Sleeps until a clock has reached the deadline, never shorter.
    ///
    /// @param system  provides now() in ns; wait(ns), which may end later, or earlier on a stop request; spin(), which
    ///                spins for a moment; stopRequested()
    /// @param spins   false: only waits, and returns somewhat before or after the deadline
    /// @return  true when the deadline was reached, false when a stop was requested
    template <typename System>
    bool sleepUntil(std::int64_t deadlineNanoseconds, System& system, bool spins = true) {
        // Only spinning is left after the last wait, however small the margin is by then. A margin that leaves no time
        // to wait shrinks, too: otherwise a margin raised by a busy machine would stay, and spin, for ever.
        const std::int64_t first = deadlineNanoseconds - system.now();
        if (spins && first > 0 && first <= _margin) _margin = std::max(_margin - kLower, kLeast);
        for (bool waited = false;;) {
            if (system.stopRequested()) return false;
            const std::int64_t begin = system.now();
            const std::int64_t remaining = deadlineNanoseconds - begin;
            if (remaining <= 0) return true;
            if (waited || remaining <= _margin) {
                if (!spins) return true;
                system.spin();
                continue;
            }
            const std::int64_t asked = std::min(remaining - _margin, kLongestWait);
            waited = asked < kLongestWait;
            system.wait(asked);
            learn(system.now() - begin - asked);
        }
    }

private:
    std::int64_t _margin;
};
