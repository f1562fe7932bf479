// One maker per pattern, for the table of patterns.
#pragma once

#include <memory>

#include "pattern.h"

namespace frames {

using PatternMaker = std::unique_ptr<Pattern>(const ImageFormat& format, const PatternSettings& settings);

inline bool withDigits(const PatternSettings& settings) { return settings.digits.value_or(false); }

// plain_patterns.cpp
PatternMaker makeBlack, makeWhite, makeHorizontalRamp, makeVerticalRamp, makeMovingHorizontalRamp,
    makeMovingVerticalRamp, makeMovingHorizontalLine, makeMovingVerticalLine, makeCheckers, makeBars;

// lively_patterns.cpp
PatternMaker makeTarget, makeBall, makeZonePlate, makeNoise, makeCounter;

// measuring_targets.cpp
PatternMaker makeEdge, makeCircle, makeDotGrid, makeCheckerboard, makeSlantedEdge;

}  // namespace frames
