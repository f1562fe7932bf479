// How long entries may wait for a log that accepts nothing at the moment. The caller supplies the clock.
#pragma once

#include <algorithm>
#include <chrono>

/// Half a second at once, and a tenth of the time altogether. A pipe with a slow reader loses nothing; a pipe whose
/// reader hangs costs the reporting program next to nothing.
class LogPatience {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr Clock::duration kMost = std::chrono::milliseconds(500);
    static constexpr int kShare = 10;

    /// How long an entry that arrives now may wait.
    Clock::duration left(Clock::time_point now) {
        if (_last != Clock::time_point{}) _left = std::min(kMost, _left + (now - _last) / kShare);
        _last = now;
        return _left;
    }

    /// Reports how long an entry has waited.
    void spend(Clock::duration waited) { _left = std::max(Clock::duration::zero(), _left - waited); }

private:
    Clock::duration _left = kMost;
    Clock::time_point _last{};
};
