// When which frame is due: a grid in time that does not drift, whatever happens between its slots.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace simulator {

/// Frame n is due at start + n * period, in whole nanoseconds. All times are of one monotonic clock.
class PacingGrid {
public:
    PacingGrid(std::int64_t startNs, std::int64_t periodNs) : _startNs(startNs), _periodNs(periodNs) {}

    std::int64_t dueNs(std::uint64_t frame) const { return _startNs + static_cast<std::int64_t>(frame) * _periodNs; }

    /// The frame to deliver now when `frame` is the next one: itself as long as no more than `tolerated` of its
    /// successors are due, so that what was held up is made up for at once; else the latest that is due. Those between
    /// have been missed.
    std::uint64_t frameToDeliver(std::uint64_t frame, std::int64_t nowNs, std::uint64_t tolerated) const {
        if (nowNs < _startNs) return frame;
        const auto latest = static_cast<std::uint64_t>((nowNs - _startNs) / _periodNs);
        return latest > frame + tolerated ? latest : frame;
    }

    std::int64_t periodNs() const { return _periodNs; }

private:
    std::int64_t _startNs;
    std::int64_t _periodNs;
};

/// Whole nanoseconds from one frame to the next; at least one.
inline std::int64_t periodOf(double framesPerSecond) {
    return std::max<std::int64_t>(std::llround(1e9 / framesPerSecond), 1);
}

}  // namespace simulator
