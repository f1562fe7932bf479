// Distinguishes a dead reader from a slow one: a dead process leaves its mark in the ring, and the ring fills up.
#pragma once

#include <cstdint>
#include <optional>

namespace simulator {

class ReaderWatch {
public:
    /// @param timeoutNs  A reader that does not move for that long while the ring is full counts as dead; 0: never.
    explicit ReaderWatch(std::int64_t timeoutNs) : _timeoutNs(timeoutNs) {}

    /// Call it when the ring is full.
    /// @param readIndex  Read index of the attached reader; none: no reader is attached, so none can be dead.
    /// @return           Whether it counts as dead. The watch then starts again.
    bool isDead(std::optional<std::uint64_t> readIndex, std::int64_t nowNs) {
        if (readIndex != _stuckAt) {
            _stuckAt = readIndex;
            _sinceNs = nowNs;
        }
        if (!_stuckAt || _timeoutNs == 0 || nowNs - _sinceNs < _timeoutNs) return false;
        _stuckAt.reset();
        return true;
    }

    /// Call it when the ring has room.
    void roomSeen() { _stuckAt.reset(); }

private:
    std::int64_t _timeoutNs;
    std::optional<std::uint64_t> _stuckAt;  // read index while the ring is full; none: it was not full
    std::int64_t _sinceNs = 0;
};

}  // namespace simulator
