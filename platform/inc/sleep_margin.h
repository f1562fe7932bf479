// Sleeps that ask the system to be woken somewhat before their deadline, and spin the rest.
#pragma once

#include <algorithm>
#include <cstdint>

/// How much before. It learns from every wake-up, so that about one in two hundred comes after the deadline: each that
/// does raises the margin by 200 times what one in time lowers it by. (Stochastic approximation of a quantile, Robbins
/// and Monro 1951, with constant steps.) One wake-up that is late beyond reason moves it no further than any other.
class SleepMargin {
public:
    static constexpr std::int64_t kLeast = 50'000;             // ns
    static constexpr std::int64_t kGreatest = 2'500'000;       // ns; to spin longer would cost more than it is worth
    static constexpr std::int64_t kRaise = 100'000;            // ns
    static constexpr std::int64_t kLower = kRaise / 200;       // ns
    static constexpr std::int64_t kLongestWait = 100'000'000;  // ns; bounds how long a stop request can go unseen

    /// @param first  the first guess in ns
    explicit SleepMargin(std::int64_t first) : _margin(std::clamp(first, kLeast, kGreatest)) {}

    /// @return  ns
    std::int64_t get() const { return _margin; }

    /// @param late  ns that the system has woken later than it was asked to
    void learn(std::int64_t late) {
        _margin = std::clamp(_margin + (late > _margin ? kRaise : -kLower), kLeast, kGreatest);
    }

    /// Sleeps until a clock has reached the deadline, never shorter.
    ///
    /// @param system  now() in ns; wait(ns), which may end later, or earlier on a stop request; spin(), for a moment;
    ///                stopRequested()
    /// @param spins   false: only waits, and returns somewhat before the deadline or after it
    /// @return  true when the deadline was reached, false when a stop was requested
    template <typename System>
    bool sleepUntil(std::int64_t deadlineNanoseconds, System& system, bool spins = true) {
        // Once the last wait has ended only spinning is left, however little the margin is by then. A margin that
        // leaves nothing to wait for gets smaller, too: else one raised by a busy machine would stay, and spin, for
        // ever.
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
