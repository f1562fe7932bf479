#include "moving_target.h"

#include <algorithm>
#include <cstring>

#include "crc32.h"
#include "digits.h"
#include "strip.h"

namespace frames {
namespace {

constexpr std::size_t kDigits = 8;
constexpr std::size_t kGridPitch = 64;  // pixels
constexpr std::size_t kGreySteps = 16;
constexpr std::uint8_t kDarkest = 32;  // no pixel of the target has the grey of faked images
constexpr std::uint8_t kGridGrey = 16;
constexpr std::uint8_t kDiscGrey = 255;
constexpr std::uint8_t kBarGrey = 240;
constexpr std::uint8_t kInk = 255;
constexpr std::uint8_t kPaper = 0;

bool onGrid(std::size_t position) { return position % kGridPitch == kGridPitch / 2; }

// Back and forth: 0 … range, then down, one step per frame.
std::size_t swing(std::uint64_t position, std::size_t range) {
    if (range == 0) return 0;
    const std::uint64_t phase = position % (2 * range);
    return static_cast<std::size_t>(phase <= range ? phase : 2 * range - phase);
}

}  // namespace

MovingTarget::MovingTarget(const ImageFormat& format, unsigned bits, const StripWish& strip)
    : _format(format),
      _bits(bits),
      _appendLine(format.lineBytes()),
      _top(stripLayout(format, strip).bodyFirst),
      _height(stripLayout(format, strip).bodyLines),
      _radius(std::min(format.width, _height) / 8),
      _scale(std::clamp<std::size_t>(format.width / 200, 1, 8)),
      _background(format.bytes()) {
    const Canvas canvas{_background.data(), _format, _bits};
    const std::size_t stepWidth = (format.width + kGreySteps - 1) / kGreySteps;
    for (std::size_t y = 0; y < format.height; ++y) {
        for (std::size_t step = 0; step < kGreySteps; ++step)
            fillPixels(canvas, step * stepWidth, y, stepWidth, static_cast<std::uint8_t>(kDarkest + 12 * step));
        if (onGrid(y)) fillPixels(canvas, 0, y, format.width, kGridGrey);
        for (std::size_t x = kGridPitch / 2; x < format.width; x += kGridPitch) fillPixels(canvas, x, y, 1, kGridGrey);
    }
}

std::uint32_t MovingTarget::draw(std::uint8_t* pixels, std::uint64_t frameNumber,
                                 std::optional<std::uint64_t> before) const {
    const Canvas image{pixels, {_format.width, _top + _height, _format.bytesPerPixel}, _bits};
    if (before) {
        restore(image, discArea(*before));
        restore(image, barArea(*before));
    } else {
        restore(image, {0, _top, _format.width, _height});
    }
    const Rectangle bar = barArea(frameNumber);
    for (std::size_t line = 0; line < bar.height; ++line)
        fillPixels(image, bar.left, bar.top + line, bar.width, kBarGrey);
    const Rectangle disc = discArea(frameNumber);
    drawDisc(image, disc);
    const Rectangle digits = digitsArea();
    drawNumber(image, digits.left, digits.top, _scale, frameNumber, kDigits, kInk, kPaper);
    return crcOf(image, disc);
}

// Besides the lines with disc or digits there are only two kinds: those on the grid and those between.
std::uint32_t MovingTarget::crcOf(const Canvas& image, const Rectangle& disc) const {
    const Rectangle digits = digitsArea();
    const auto reaches = [](const Rectangle& area, std::size_t y) {
        return y >= area.top && y - area.top < area.height;
    };
    std::optional<std::uint32_t> kinds[2];
    std::uint32_t crc = 0;
    for (std::size_t y = _top; y < _top + _height; ++y) {
        std::optional<std::uint32_t> single;
        const bool ofAKind = !reaches(disc, y) && !reaches(digits, y);
        std::optional<std::uint32_t>& line = ofAKind ? kinds[onGrid(y) ? 1 : 0] : single;
        if (!line) line = crc32(image.line(y), _format.lineBytes());
        crc = _appendLine(crc, *line);
    }
    return crc;
}

void MovingTarget::restore(const Canvas& image, const Rectangle& area) const {
    const std::size_t offset = area.left * _format.bytesPerPixel;
    for (std::size_t line = area.top; line < area.top + area.height; ++line) {
        std::memcpy(image.line(line) + offset, _background.data() + line * _format.lineBytes() + offset,
                    area.width * _format.bytesPerPixel);
    }
}

MovingTarget::Rectangle MovingTarget::digitsArea() const {
    return {_scale * 4, _top + _scale * 4, numberWidth(_scale, kDigits), numberHeight(_scale)};
}

// The disc bounces between the edges, at different speeds across and down.
MovingTarget::Rectangle MovingTarget::discArea(std::uint64_t frameNumber) const {
    const std::size_t size = std::max<std::size_t>(2 * _radius, 1);
    const std::size_t left = swing(frameNumber * 5, _format.width - size);
    const std::size_t top = _top + swing(frameNumber * 3, _height - size);
    return {left, top, size, size};
}

// A bar a few pixels wide that runs from left to right over the whole height.
MovingTarget::Rectangle MovingTarget::barArea(std::uint64_t frameNumber) const {
    const std::size_t width = std::max<std::size_t>(_format.width / 160, 1);
    const auto left = static_cast<std::size_t>(frameNumber * width % _format.width);
    return {left, _top, std::min(width, _format.width - left), _height};
}

void MovingTarget::drawDisc(const Canvas& image, const Rectangle& area) const {
    const auto doubledRadius = static_cast<std::int64_t>(area.width);
    for (std::size_t line = 0; line < area.height; ++line) {
        // Twice the distance from the centre, so that all numbers stay whole.
        const std::int64_t dy = 2 * static_cast<std::int64_t>(line) + 1 - doubledRadius;
        std::size_t inset = 0;
        while (inset < area.width / 2) {
            const std::int64_t dx = 2 * static_cast<std::int64_t>(inset) + 1 - doubledRadius;
            if (dx * dx + dy * dy <= doubledRadius * doubledRadius) break;
            ++inset;
        }
        fillPixels(image, area.left + inset, area.top + line, area.width - 2 * inset, kDiscGrey);
    }
}

}  // namespace frames
