#include "motion.h"

#include <cmath>
#include <numbers>

namespace frames {

double Motion::offset(std::uint64_t frameNumber) const {
    // Whole periods are removed first, so that a late frame is as exact as an early one.
    const auto phase = static_cast<double>(frameNumber % periodFrames);
    const auto period = static_cast<double>(periodFrames);
    switch (kind) {
        case Kind::none:
            return 0.0;
        case Kind::linear:
            return pixels * (phase - period / 2);
        case Kind::sine:
            return pixels * std::sin(2 * std::numbers::pi * phase / period);
        case Kind::step:
            return phase < period / 2 ? 0.0 : pixels;
    }
    return 0.0;
}

}  // namespace frames
