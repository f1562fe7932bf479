// The options that say when the images of a run are due, and how many there are.
#pragma once

#include <cstdint>

#include "frame_rate.h"
#include "pacing_grid.h"

namespace simulator {

struct PacingOptions {
    FrameRate framesPerSecond = 100;     // --fps
    LatePolicy late = LatePolicy::skip;  // --late
    std::uint64_t frameCount = 0;        // --count; 0: until stopped
    std::int64_t durationNs = 0;         // --duration, of the grid; 0: until stopped
};

}  // namespace simulator
