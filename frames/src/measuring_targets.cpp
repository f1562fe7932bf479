// Targets whose place is known exactly; they move across, also by fractions of a pixel.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

#include "coverage.h"
#include "line_pattern.h"
#include "pattern_makers.h"

namespace frames {
namespace {

/// What all targets share: a place of rest in the middle of what is outside the strip, and a distance from it.
class MeasuringTarget : public LinePattern {
public:
    MeasuringTarget(const ImageFormat& format, const PatternSettings& settings)
        : LinePattern(format, settings),
          _motion(settings.motion),
          _dark(brightness(targetGreys(writer()).dark)),
          _bright(brightness(targetGreys(writer()).bright)) {}

protected:
    double xAt(std::uint64_t frameNumber) const {
        return static_cast<double>(width() - 1) / 2 + _motion.offset(frameNumber);
    }
    /// Line outside the strip in which the place lies; the middle of that line.
    std::size_t centreLine() const { return (height() - 1) / 2; }
    double yTruth() const { return static_cast<double>(top() + centreLine()); }

    /// For targets that do not depend on y: all lines or none.
    LineRange differing(std::uint64_t frameNumber, std::uint64_t other) const override {
        return xAt(frameNumber) == xAt(other) ? LineRange{} : everyLine();
    }
    void prepare(std::uint64_t frameNumber) final {
        const double x = xAt(frameNumber);
        if (_prepared == x) return;
        prepareAt(x);
        _prepared = x;
    }
    virtual void prepareAt(double x) = 0;

    /// Brightness of a pixel if the target's bright part covers that share of it.
    double shade(double share) const { return _dark + share * (_bright - _dark); }

private:
    double brightness(unsigned grey) const { return static_cast<double>(grey) / writer().whiteGrey(); }

    Motion _motion;
    double _dark;
    double _bright;
    std::optional<double> _prepared;
};

/// Dark on the left, bright on the right.
class Edge : public MeasuringTarget {
public:
    using MeasuringTarget::MeasuringTarget;

    std::vector<TrueValue> truth(std::uint64_t frameNumber) const override {
        return {{"x_px", xAt(frameNumber)}, {"y_px", yTruth()}, {"angle_deg", 0.0}};
    }

private:
    void prepareAt(double edge) override {
        render(_line, width(),
               [&](std::size_t x) { return shade(halfPlaneCoverage(1.0, 0.0, edge - static_cast<double>(x))); });
    }
    Shown shown(std::size_t) const override { return {&_line}; }

    StoredLine _line;
};

/// A slanted edge: one pixel to the right every kSlope lines. So lines that are kSlope apart are parts of the same
/// stored line.
class SlantedEdge : public MeasuringTarget {
public:
    SlantedEdge(const ImageFormat& format, const PatternSettings& settings)
        : MeasuringTarget(format, settings), _lines(kSlope), _shifts(height() / kSlope + 1) {}

    std::vector<TrueValue> truth(std::uint64_t frameNumber) const override {
        return {{"x_px", xAt(frameNumber)},
                {"y_px", yTruth()},
                {"angle_deg", std::atan(1.0 / kSlope) * 180 / std::numbers::pi}};
    }

private:
    static constexpr std::size_t kSlope = 11;  // 5.19 degrees

    // Line y lies y - centreLine lines below the place: by so many whole pixels and so many fractions to the right.
    std::size_t linesFromLeast(std::size_t y) const {
        const std::size_t least = (centreLine() + kSlope - 1) / kSlope * kSlope;
        return y + least - centreLine();
    }
    std::size_t leastShift() const { return (centreLine() + kSlope - 1) / kSlope; }

    void prepareAt(double edge) override {
        const double length = std::hypot(1.0, 1.0 / kSlope);
        for (std::size_t part = 0; part < kSlope; ++part) {
            // Shown from offset _shifts on, the line is leastShift pixels further left than the fraction alone.
            const double place = edge + static_cast<double>(part) / kSlope - static_cast<double>(leastShift());
            render(_lines[part], width() + _shifts, [&](std::size_t x) {
                const double distance = place + static_cast<double>(_shifts) - static_cast<double>(x);
                return shade(halfPlaneCoverage(1.0 / length, -1.0 / kSlope / length, distance / length));
            });
        }
    }
    Shown shown(std::size_t y) const override {
        const std::size_t lines = linesFromLeast(y);
        return {&_lines[lines % kSlope], _shifts - lines / kSlope};
    }

    std::vector<StoredLine> _lines;  // by parts of a pixel
    std::size_t _shifts;
};

/// A bright disc.
class Circle : public MeasuringTarget {
public:
    Circle(const ImageFormat& format, const PatternSettings& settings)
        : MeasuringTarget(format, settings),
          _radius(static_cast<double>(std::min(width(), height())) / 6),
          _reach(static_cast<std::size_t>(std::ceil(_radius)) + 1),
          _lines(_reach) {
        render(_darkLine, width(), [&](std::size_t) { return shade(0.0); });
        render(_brightLine, width(), [&](std::size_t) { return shade(1.0); });
    }

    std::vector<TrueValue> truth(std::uint64_t frameNumber) const override {
        return {{"x_px", xAt(frameNumber)}, {"y_px", yTruth()}, {"radius_px", _radius}};
    }

private:
    std::size_t fromCentre(std::size_t y) const { return y < centreLine() ? centreLine() - y : y - centreLine(); }

    void prepareAt(double centre) override {
        for (std::size_t dy = 0; dy < _reach; ++dy)
            _lines[dy].assign(discLine(centre, static_cast<double>(dy)), format(), appendLine());
    }

    // Areas are computed only at the disc's border; the inside is copied.
    std::vector<std::uint8_t> discLine(double centre, double dy) const {
        std::vector<std::uint8_t> bytes(_darkLine.pixels(0), _darkLine.pixels(0) + format().lineBytes());
        const double outer = halfChord(std::max(dy - 0.5, 0.0));
        const double inner = halfChord(dy + 0.5);
        const std::size_t first = clipped(std::floor(centre - outer));
        const std::size_t end = clipped(std::ceil(centre + outer) + 1);
        const std::size_t innerFirst = std::clamp(clipped(std::ceil(centre - inner + 0.5)), first, end);
        const std::size_t innerEnd = std::clamp(clipped(std::floor(centre + inner - 0.5) + 1), innerFirst, end);
        const auto cover = [&](std::size_t from, std::size_t to) {
            for (std::size_t x = from; x < to; ++x) {
                const double share = discCoverage(_radius, static_cast<double>(x) - centre, dy);
                writer().put(bytes.data() + x * format().bytesPerPixel, shade(share));
            }
        };
        cover(first, innerFirst);
        const std::size_t depth = format().bytesPerPixel;
        std::memcpy(bytes.data() + innerFirst * depth, _brightLine.pixels(innerFirst), (innerEnd - innerFirst) * depth);
        cover(innerEnd, end);
        return bytes;
    }
    double halfChord(double dy) const { return std::sqrt(std::max(_radius * _radius - dy * dy, 0.0)); }
    std::size_t clipped(double x) const {
        return static_cast<std::size_t>(std::clamp(x, 0.0, static_cast<double>(width())));
    }

    Shown shown(std::size_t y) const override { return {fromCentre(y) < _reach ? &_lines[fromCentre(y)] : &_darkLine}; }
    LineRange differing(std::uint64_t frameNumber, std::uint64_t other) const override {
        if (xAt(frameNumber) == xAt(other)) return {};
        return {centreLine() - std::min(_reach, centreLine()), std::min(centreLine() + _reach, height())};
    }

    double _radius;
    std::size_t _reach;  // lines from the centre's on that the disc can touch
    StoredLine _darkLine;
    StoredLine _brightLine;
    std::vector<StoredLine> _lines;  // by distance from the centre's line
};

constexpr std::size_t kPitch = 64;

/// x modulo a length, 0 … length.
double wrapped(double x, double length) { return x - std::floor(x / length) * length; }

/// Bright discs on a square grid; one of them is at the place.
class DotGrid : public MeasuringTarget {
public:
    DotGrid(const ImageFormat& format, const PatternSettings& settings)
        : MeasuringTarget(format, settings), _lines(kReach) {}

    std::vector<TrueValue> truth(std::uint64_t frameNumber) const override {
        return {{"x_px", xAt(frameNumber)}, {"y_px", yTruth()}, {"pitch_px", kPitch}, {"radius_px", kRadius}};
    }

private:
    static constexpr std::size_t kRadius = 16;
    static constexpr std::size_t kReach = kRadius + 2;  // lines from the dots' on; the last has none of them

    void prepareAt(double dot) override {
        for (std::size_t dy = 0; dy < _lines.size(); ++dy) {
            // All dots of a line cover the pixels in the same way.
            std::array<double, kPitch> shades{};
            for (std::size_t x = 0; x < kPitch; ++x) {
                const double right = wrapped(static_cast<double>(x) - dot + kPitch / 2.0, kPitch) - kPitch / 2.0;
                shades[x] = shade(discCoverage(kRadius, right, static_cast<double>(dy)));
            }
            render(_lines[dy], width(), [&](std::size_t x) { return shades[x % kPitch]; });
        }
    }
    Shown shown(std::size_t y) const override {
        const std::size_t down = (y + kPitch - centreLine() % kPitch) % kPitch;
        return {&_lines[std::min({down, kPitch - down, kReach - 1})]};
    }

    std::vector<StoredLine> _lines;  // by distance from the nearest dots' line
};

/// Dark and bright squares; four of them meet at the place, at the lower edge of the line above.
class Checkerboard : public MeasuringTarget {
public:
    using MeasuringTarget::MeasuringTarget;

    std::vector<TrueValue> truth(std::uint64_t frameNumber) const override {
        return {{"x_px", xAt(frameNumber)}, {"y_px", yTruth() - 0.5}, {"pitch_px", kPitch}};
    }

private:
    void prepareAt(double corner) override {
        for (std::size_t kind = 0; kind < 2; ++kind) {
            const double start = corner - static_cast<double>(kind * kPitch);
            render(_lines[kind], width(),
                   [&](std::size_t x) { return shade(stripeCoverage(kPitch, static_cast<double>(x) - start)); });
        }
    }
    Shown shown(std::size_t y) const override {
        const std::size_t down = (y + 2 * kPitch - centreLine() % (2 * kPitch)) % (2 * kPitch);
        return {&_lines[down / kPitch]};
    }

    StoredLine _lines[2];
};

}  // namespace

TargetGreys targetGreys(const PixelWriter& writer) {
    const unsigned dark = (writer.whiteGrey() + 4) / 8;
    return {dark, writer.whiteGrey() - dark};
}

std::unique_ptr<Pattern> makeEdge(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Edge>(format, settings);
}

std::unique_ptr<Pattern> makeCircle(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Circle>(format, settings);
}

std::unique_ptr<Pattern> makeDotGrid(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<DotGrid>(format, settings);
}

std::unique_ptr<Pattern> makeCheckerboard(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Checkerboard>(format, settings);
}

std::unique_ptr<Pattern> makeSlantedEdge(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<SlantedEdge>(format, settings);
}

}  // namespace frames
