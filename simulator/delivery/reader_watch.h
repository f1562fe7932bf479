// Tells a reader that died from one that is slow: a dead process leaves its mark in the ring, and the ring fills up.
#pragma once

#include <cstdint>
#include <optional>

namespace simulator {

class ReaderWatch {
public:
    /// @param timeoutNs  A reader that does not move for that long while the ring is full counts as dead; 0: never.
    explicit ReaderWatch(std::int64_t timeoutNs) : _timeoutNs(timeoutNs) {}

    /// The ring is full.
    /// @param readIndex  Where the attached reader stands; none: there is no reader, so none that could be dead.
    /// @return           Whether it counts as dead. The watch begins anew then.
    bool isDead(std::optional<std::uint64_t> readIndex, std::int64_t nowNs) {
        if (readIndex != _stuckAt) {
            _stuckAt = readIndex;
            _sinceNs = nowNs;
        }
        if (!_stuckAt || _timeoutNs == 0 || nowNs - _sinceNs < _timeoutNs) return false;
        _stuckAt.reset();
        return true;
    }

    /// The ring has room.
    void roomSeen() { _stuckAt.reset(); }

private:
    std::int64_t _timeoutNs;
    std::optional<std::uint64_t> _stuckAt;  // read index of the full ring; none: it was not full
    std::int64_t _sinceNs = 0;
};

}  // namespace simulator
