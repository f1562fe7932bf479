// The options that say when the images of a run are due, and how many there are.
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
};

}  // namespace simulator
