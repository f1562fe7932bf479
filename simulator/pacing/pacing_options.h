// The options for the pace and the number of a run's images.
#pragma once

#include <cstdint>

#include "frame_rate.h"
#include "pacing_grid.h"

namespace simulator {

struct PacingOptions {
    FrameRate framesPerSecond = 100;     // --fps
    bool rateIsGiven = false;            // else a stream's own rate holds
    LatePolicy late = LatePolicy::skip;  // --late
    std::uint64_t frameCount = 0;        // --count; 0: until stopped
    std::int64_t durationNs = 0;         // --duration, of the grid; 0: until stopped
};

}  // namespace simulator
