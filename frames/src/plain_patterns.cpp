// Patterns of brightness over x or y: uniform, ramps, lines, checkers, bars.
#include <algorithm>
#include <iterator>

#include "line_pattern.h"
#include "pattern_makers.h"

namespace frames {
namespace {

constexpr double kDark = 32.0 / 255.0;  // background of what moves: no pixel has the grey of faked images
constexpr std::size_t kCheckerSide = 32;
// clang-format off
constexpr Colour kBars[] = {
    {1, 1, 1},
    {1, 1, 0},
    {0, 1, 1},
    {0, 1, 0},
    {1, 0, 1},
    {1, 0, 0},
    {0, 0, 1},
    {0, 0, 0},
};
// clang-format on

// 0 for the first of count, 1 for the last.
double along(std::size_t place, std::size_t count) {
    return count > 1 ? static_cast<double>(place) / static_cast<double>(count - 1) : 0.0;
}

/// All lines are equal.
class RepeatedLine : public StillPattern {
public:
    template <typename Brightness>
    RepeatedLine(const ImageFormat& format, const PatternSettings& settings, Brightness brightness)
        : StillPattern(format, settings) {
        render(_line, width(), brightness);
    }

private:
    Shown shown(std::size_t) const override { return {&_line}; }

    StoredLine _line;
};

class Checkers : public StillPattern {
public:
    Checkers(const ImageFormat& format, const PatternSettings& settings) : StillPattern(format, settings) {
        // The other kind of line is this one, a field further.
        render(_line, width() + kCheckerSide, [](std::size_t x) { return x / kCheckerSide % 2 == 0 ? 0.0 : 1.0; });
    }

private:
    Shown shown(std::size_t y) const override { return {&_line, y / kCheckerSide % 2 == 0 ? 0 : kCheckerSide}; }

    StoredLine _line;
};

/// Moves from left to right by one pixel per frame, and reappears at the left: a part of a line that repeats itself.
class MovingAcross : public LinePattern {
public:
    template <typename Brightness>
    MovingAcross(const ImageFormat& format, const PatternSettings& settings, Brightness brightness)
        : LinePattern(format, settings) {
        render(_line, 2 * width() - 1, [&](std::size_t x) { return brightness(x % width()); });
    }

private:
    void prepare(std::uint64_t frameNumber) override { _offset = width() - 1 - (frameNumber + width() - 1) % width(); }
    Shown shown(std::size_t) const override { return {&_line, _offset}; }
    LineRange differing(std::uint64_t, std::uint64_t) const override { return everyLine(); }

    StoredLine _line;
    std::size_t _offset = 0;
};

/// One uniform line for each grey in a list, still or moving down by one line per frame.
class UniformLines : public LinePattern {
public:
    /// @param brightness  Of line y outside the strip.
    template <typename Brightness>
    UniformLines(const ImageFormat& format, const PatternSettings& settings, bool moving, Brightness brightness)
        : LinePattern(format, settings), _moving(moving), _lines(height()) {
        for (std::size_t y = 0; y < height(); ++y)
            render(_lines[y], width(), [&](std::size_t) { return brightness(y, height()); });
    }

private:
    void prepare(std::uint64_t frameNumber) override {
        if (_moving) _first = height() - 1 - (frameNumber + height() - 1) % height();
    }
    Shown shown(std::size_t y) const override { return {&_lines[(_first + y) % height()]}; }
    LineRange differing(std::uint64_t, std::uint64_t) const override { return _moving ? everyLine() : LineRange{}; }

    bool _moving;
    std::vector<StoredLine> _lines;
    std::size_t _first = 0;  // line at the top
};

double lineAmong(std::size_t place, std::size_t count) {
    return place < std::max<std::size_t>(count / 128, 1) ? 1.0 : kDark;
}

}  // namespace

std::unique_ptr<Pattern> makeBlack(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<RepeatedLine>(format, settings, [](std::size_t) { return 0.0; });
}

std::unique_ptr<Pattern> makeWhite(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<RepeatedLine>(format, settings, [](std::size_t) { return 1.0; });
}

std::unique_ptr<Pattern> makeHorizontalRamp(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<RepeatedLine>(format, settings, [&](std::size_t x) { return along(x, format.width); });
}

std::unique_ptr<Pattern> makeVerticalRamp(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<UniformLines>(format, settings, false, along);
}

std::unique_ptr<Pattern> makeMovingHorizontalRamp(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<MovingAcross>(format, settings, [&](std::size_t x) { return along(x, format.width); });
}

std::unique_ptr<Pattern> makeMovingVerticalRamp(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<UniformLines>(format, settings, true, along);
}

std::unique_ptr<Pattern> makeMovingHorizontalLine(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<UniformLines>(format, settings, true, lineAmong);
}

std::unique_ptr<Pattern> makeMovingVerticalLine(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<MovingAcross>(format, settings, [&](std::size_t x) { return lineAmong(x, format.width); });
}

std::unique_ptr<Pattern> makeCheckers(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Checkers>(format, settings);
}

std::unique_ptr<Pattern> makeBars(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<RepeatedLine>(format, settings,
                                          [&](std::size_t x) { return kBars[x * std::size(kBars) / format.width]; });
}

}  // namespace frames
