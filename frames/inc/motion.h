// How a measuring target moves from frame to frame.
#pragma once

#include <cstdint>

namespace frames {

struct Motion {
    enum class Kind {
        none,    // stays where it is
        linear,  // pixels to the right with each frame, for a period, then anew from the left
        sine,    // to and fro, pixels to each side, once in a period
        step,    // stands for half a period, stands pixels further right for the other half
    };

    Kind kind = Kind::none;
    double pixels = 0.0;
    std::uint64_t periodFrames = 100;  // at least 2

    /// Distance to the right of the place of rest, in pixels; the same for the same frame, whatever came before.
    /// Of a linear motion it lies from -pixels * period / 2 to just below +pixels * period / 2.
    double offset(std::uint64_t frameNumber) const;
};

}  // namespace frames
