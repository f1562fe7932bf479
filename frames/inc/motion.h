// How a measuring target moves from frame to frame.
#pragma once

#include <cstdint>

namespace frames {

struct Motion {
    enum class Kind {
        none,    // stays where it is
        linear,  // pixels to the right with each frame, for a period, then again from the left
        sine,    // back and forth, pixels to each side, once in a period
        step,    // rests for half a period, then pixels further right for the other half
    };

    Kind kind = Kind::none;
    double pixels = 0.0;
    std::uint64_t periodFrames = 100;  // at least 2

    /// Distance in pixels to the right of the resting place; depends only on the frame number. For a linear motion it
    /// ranges from -pixels * period / 2 to just below +pixels * period / 2.
    double offset(std::uint64_t frameNumber) const;
};

}  // namespace frames
