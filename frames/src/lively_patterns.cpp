// Patterns with more detail: target, ball, zone plate, noise, frame counter.
#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>

#include "coverage.h"
#include "digits.h"
#include "line_pattern.h"
#include "moving_target.h"
#include "pattern_makers.h"

namespace frames {
namespace {

constexpr double kDark = 32.0 / 255.0;  // no pixel has the grey of faked images
constexpr double kBright = 1.0;

class Target : public Pattern {
public:
    Target(const ImageFormat& format, const PatternSettings& settings)
        : _target(format, settings.bits, settings.strip) {}

    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) override {
        return _target.draw(pixels, frameNumber, before);
    }

private:
    MovingTarget _target;
};

// Back and forth: 0 … range, then down.
std::size_t swing(std::uint64_t position, std::size_t range) {
    if (range == 0) return 0;
    const std::uint64_t phase = position % (2 * range);
    return static_cast<std::size_t>(phase <= range ? phase : 2 * range - phase);
}

/// A disc that bounces between the edges, at different speeds across and down. Each of its lines is stored with the
/// disc preceded by as much dark as it may have on its left.
class Ball : public LinePattern {
public:
    Ball(const ImageFormat& format, const PatternSettings& settings)
        : LinePattern(format, settings),
          _size(std::max<std::size_t>(std::min(width(), height()) / 4, 1)),
          _lines(_size) {
        render(_dark, width(), [](std::size_t) { return kDark; });
        const double radius = static_cast<double>(_size) / 2;
        const std::size_t before = width() - _size;
        for (std::size_t y = 0; y < _size; ++y) {
            render(_lines[y], before + width(), [&](std::size_t x) {
                const double fromCentre = static_cast<double>(x) + 0.5 - static_cast<double>(before) - radius;
                const double share = discCoverage(radius, fromCentre, static_cast<double>(y) + 0.5 - radius);
                return kDark + share * (kBright - kDark);
            });
        }
    }

private:
    std::size_t topAt(std::uint64_t frameNumber) const { return swing(frameNumber * 3, height() - _size); }

    void prepare(std::uint64_t frameNumber) override {
        _ballTop = topAt(frameNumber);
        _offset = width() - _size - swing(frameNumber * 5, width() - _size);
    }
    Shown shown(std::size_t y) const override {
        if (y < _ballTop || y >= _ballTop + _size) return {&_dark};
        return {&_lines[y - _ballTop], _offset};
    }
    LineRange differing(std::uint64_t frameNumber, std::uint64_t other) const override {
        const auto [first, last] = std::minmax({topAt(frameNumber), topAt(other)});
        return {first, last + _size};
    }

    std::size_t _size;
    StoredLine _dark;
    std::vector<StoredLine> _lines;
    std::size_t _ballTop = 0;
    std::size_t _offset = 0;
};

/// Rings around the centre that get finer outwards, down to the pixel limit at the end of the image's wider half.
class ZonePlate : public StillPattern {
public:
    ZonePlate(const ImageFormat& format, const PatternSettings& settings)
        : StillPattern(format, settings), _lines(height()) {
        const double centreX = static_cast<double>(width() - 1) / 2;
        const double centreY = static_cast<double>(height() - 1) / 2;
        const double steepness = std::numbers::pi / static_cast<double>(std::max(width(), height()));
        for (std::size_t y = 0; y < height(); ++y) {
            const double dy = static_cast<double>(y) - centreY;
            render(_lines[y], width(), [&](std::size_t x) {
                const double dx = static_cast<double>(x) - centreX;
                return 0.5 + 0.5 * std::cos(steepness * (dx * dx + dy * dy));
            });
        }
    }

private:
    Shown shown(std::size_t y) const override { return {&_lines[y]}; }

    std::vector<StoredLine> _lines;
};

// A generator with one word of state and good bits for any seed (splitmix64).
std::uint64_t mixed(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9u;
    value = (value ^ value >> 27) * 0x94D049BB133111EBu;
    return value ^ value >> 31;
}

/// Uniform noise. A line combines a part of one stored line with a part of another. Each line of an image has its own
/// pair, drawn at random for each frame, so nothing repeats within an image. Greys that are equally likely stay so when
/// combined.
class Noise : public LinePattern {
public:
    Noise(const ImageFormat& format, const PatternSettings& settings)
        : LinePattern(format, settings),
          _seed(mixed(settings.seed)),
          _lineBits(noiseLineBits(height())),
          _lines(std::size_t{1} << _lineBits),
          _mixedLines(_lines.size()),
          _shown(height()) {
        std::uint64_t state = _seed;
        for (StoredLine& line : _lines) line.assign(greys(state), format, appendLine());
        const std::vector<std::uint8_t> black = blacks();
        for (StoredLine& line : _mixedLines) {
            std::vector<std::uint8_t> bytes = greys(state);
            // Bytes that black has set, such as opacity, must stay unchanged when the line is combined.
            std::transform(bytes.begin(), bytes.end(), black.begin(), bytes.begin(), std::bit_xor());
            line.assign(std::move(bytes), format, appendLine());
        }
    }

private:
    static constexpr std::size_t kSpare = 255;

    std::vector<std::uint8_t> greys(std::uint64_t& state) const {
        const unsigned greatest = writer().whiteGrey();  // one below a power of two
        return pixels([&] { return static_cast<double>(mixed(++state) >> 32 & greatest) / greatest; });
    }
    std::vector<std::uint8_t> blacks() const {
        return pixels([] { return 0.0; });
    }
    template <typename Brightness>
    std::vector<std::uint8_t> pixels(Brightness brightness) const {
        std::vector<std::uint8_t> bytes((width() + kSpare) * writer().bytesPerPixel());
        for (std::size_t at = 0; at < bytes.size(); at += writer().bytesPerPixel())
            writer().put(bytes.data() + at, brightness());
        return bytes;
    }

    // Each line gets a different pair, because every step can be undone.
    std::size_t pairOf(std::size_t y, std::uint64_t lots) const {
        const std::uint64_t mask = (std::uint64_t{1} << 2 * _lineBits) - 1;
        std::uint64_t pair = (y + lots) & mask;
        for (int round = 0; round < 2; ++round) {
            pair = pair * (lots >> 32 | 1) & mask;
            pair ^= pair >> _lineBits;
            pair = pair * 0x9E3779B1u & mask;
            pair ^= pair >> (_lineBits - 1);
        }
        return static_cast<std::size_t>(pair);
    }

    void prepare(std::uint64_t frameNumber) override {
        const std::uint64_t lots = mixed(_seed ^ mixed(frameNumber));
        for (std::size_t y = 0; y < _shown.size(); ++y) {
            const std::size_t pair = pairOf(y, lots);
            const std::uint64_t lot = mixed(lots + y);
            _shown[y] = {&_lines[pair & (_lines.size() - 1)], static_cast<std::size_t>(lot) % (kSpare + 1),
                         &_mixedLines[pair >> _lineBits], static_cast<std::size_t>(lot >> 32) % (kSpare + 1)};
        }
    }
    Shown shown(std::size_t y) const override { return _shown[y]; }
    LineRange differing(std::uint64_t, std::uint64_t) const override { return everyLine(); }

    std::uint64_t _seed;
    unsigned _lineBits;
    std::vector<StoredLine> _lines;
    std::vector<StoredLine> _mixedLines;
    std::vector<Shown> _shown;  // of the frame
};

/// The frame number in digits as large as possible.
class Counter : public LinePattern {
public:
    Counter(const ImageFormat& format, const PatternSettings& settings)
        : LinePattern(format, settings),
          _scale(std::max<std::size_t>(std::min(width() / numberWidth(1, kCount), height() / numberHeight(1)), 1)),
          _left(middle(width(), numberWidth(_scale, kCount)) + _scale),
          _first(middle(height(), numberHeight(_scale)) + _scale),
          _rows(kDigitRows) {
        render(_paper, width(), [](std::size_t) { return kDark; });
    }

private:
    static constexpr std::size_t kCount = 8;

    static std::size_t middle(std::size_t room, std::size_t size) { return room > size ? (room - size) / 2 : 0; }

    void prepare(std::uint64_t frameNumber) override {
        for (std::size_t row = 0; row < kDigitRows; ++row)
            render(_rows[row], width(), [&](std::size_t x) { return ink(frameNumber, x, row) ? kBright : kDark; });
    }
    Shown shown(std::size_t y) const override {
        const std::size_t row = (y - _first) / _scale;
        return y < _first || row >= kDigitRows ? Shown{&_paper} : Shown{&_rows[row]};
    }
    LineRange differing(std::uint64_t, std::uint64_t) const override {
        return {std::min(_first, height()), std::min(_first + kDigitRows * _scale, height())};
    }

    bool ink(std::uint64_t number, std::size_t x, std::size_t row) const {
        if (x < _left) return false;
        const std::size_t column = (x - _left) / _scale;
        const std::size_t place = column / (kDigitColumns + 1);
        if (place >= kCount || column % (kDigitColumns + 1) == kDigitColumns) return false;
        for (std::size_t behind = kCount - 1 - place; behind > 0; --behind) number /= 10;
        return digitInk(static_cast<unsigned>(number % 10), column % (kDigitColumns + 1), row);
    }

    std::size_t _scale;
    std::size_t _left;
    std::size_t _first;
    StoredLine _paper;
    std::vector<StoredLine> _rows;
};

}  // namespace

std::unique_ptr<Pattern> makeTarget(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Target>(format, settings);
}

std::unique_ptr<Pattern> makeBall(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Ball>(format, settings);
}

std::unique_ptr<Pattern> makeZonePlate(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<ZonePlate>(format, settings);
}

std::unique_ptr<Pattern> makeNoise(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Noise>(format, settings);
}

std::unique_ptr<Pattern> makeCounter(const ImageFormat& format, const PatternSettings& settings) {
    return std::make_unique<Counter>(format, settings);
}

}  // namespace frames
