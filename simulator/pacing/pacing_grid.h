// When each frame is due: a grid in time that does not drift, whatever happens between its slots.
#pragma once

#include <cstdint>

#include "frame_rate.h"

namespace simulator {

/// What happens to late frames.
enum class LatePolicy {
    skip,   // their slots are left out, and the frame numbers show it
    burst,  // they are delivered back to back until the grid is reached again
};

/// Frame n is due at start + n / rate, rounded down to a whole nanosecond for each n, so errors do not add up. All
/// times are of one monotonic clock. Works as long as 64 bits of nanoseconds last, 292 years.
class PacingGrid {
public:
    PacingGrid(std::int64_t startNs, const FrameRate& rate);

    std::int64_t dueNs(std::uint64_t frame) const { return _startNs + offsetNs(frame); }

    /// Time from the start to the frame.
    std::int64_t offsetNs(std::uint64_t frame) const;

    /// The last frame that is due at that time; 0 before the start.
    std::uint64_t latestAt(std::int64_t timeNs) const;

    /// The frame to deliver now when `frame` is the next one. It is `frame` itself as long as no more than `tolerated`
    /// of its successors are due, so that a short delay is made up for at once; otherwise the latest due frame. Those
    /// between have been missed.
    std::uint64_t frameToDeliver(std::uint64_t frame, std::int64_t nowNs, std::uint64_t tolerated) const;

    /// Whole nanoseconds from one frame to the next, rounded down.
    std::int64_t periodNs() const { return static_cast<std::int64_t>(_wholeNs); }

private:
    std::int64_t _startNs;
    std::uint64_t _frames;  // the period is _wholeNs + _restNs / _frames
    std::uint64_t _wholeNs;
    std::uint64_t _restNs;
};

}  // namespace simulator
