// One maker per pattern, for the table of patterns.
#pragma once

#include <cstddef>
#include <memory>

#include "pattern.h"

namespace frames {

using PatternMaker = std::unique_ptr<Pattern>(const ImageFormat& format, const PatternSettings& settings);

// plain_patterns.cpp
PatternMaker makeBlack, makeWhite, makeHorizontalRamp, makeVerticalRamp, makeMovingHorizontalRamp,
    makeMovingVerticalRamp, makeMovingHorizontalLine, makeMovingVerticalLine, makeCheckers, makeBars;

// lively_patterns.cpp
PatternMaker makeTarget, makeBall, makeZonePlate, makeNoise, makeCounter;

/// Noise stores two to the power of this many lines of each of two kinds. That is enough for a different pair for each
/// line of an image, and not more, so that the lines stay in the processor's cache.
inline unsigned noiseLineBits(std::size_t height) {
    unsigned bits = 5;
    while (height > std::size_t{1} << 2 * bits) ++bits;
    return bits;
}

// measuring_targets.cpp
PatternMaker makeEdge, makeCircle, makeDotGrid, makeCheckerboard, makeSlantedEdge;

}  // namespace frames
