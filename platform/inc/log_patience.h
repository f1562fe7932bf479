// How long entries may wait for a log that takes nothing at the moment. The clock is the caller's.
#pragma once

#include <algorithm>
#include <chrono>

/// Half a second at once, and a tenth of the time altogether: a pipe whose reader is only slow loses nothing, and one
/// whose reader is stuck costs the reporting program next to nothing.
class LogPatience {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr Clock::duration kMost = std::chrono::milliseconds(500);
    static constexpr int kShare = 10;

    /// How long an entry may wait that comes now.
    Clock::duration left(Clock::time_point now) {
        if (_last != Clock::time_point{}) _left = std::min(kMost, _left + (now - _last) / kShare);
        _last = now;
        return _left;
    }

    /// What it has waited.
    void spend(Clock::duration waited) { _left = std::max(Clock::duration::zero(), _left - waited); }

private:
    Clock::duration _left = kMost;
    Clock::time_point _last{};
};
