#include "line_pattern.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "crc32.h"
#include "digits.h"
#include "stored_picture.h"
#include "strip.h"

namespace frames {
namespace {

constexpr std::size_t kDigits = 8;
constexpr std::uint8_t kInk = 255;
constexpr std::uint8_t kPaper = 0;

void mix(std::uint8_t* target, const std::uint8_t* one, const std::uint8_t* other, std::size_t size) {
    for (std::size_t at = 0; at < size; ++at) target[at] = one[at] ^ other[at];
}

}  // namespace

void StoredLine::assign(std::vector<std::uint8_t> bytes, const ImageFormat& format, const Crc32Append& append) {
    _bytes = std::move(bytes);
    _bytesPerPixel = format.bytesPerPixel;
    _crcs.resize((_bytes.size() - format.lineBytes()) / _bytesPerPixel + 1);
    sumUpParts(_bytes.data(), _bytes.size(), format, append, _crcs.data());
}

LinePattern::LinePattern(const ImageFormat& format, const PatternSettings& settings)
    : _format(format),
      _bits(settings.bits),
      _writer(format.bytesPerPixel, settings.bits),
      _top(stripLayout(format, settings.strip).bodyFirst),
      _height(stripLayout(format, settings.strip).bodyLines),
      _digitScale(settings.digits.value_or(false) ? std::clamp<std::size_t>(format.width / 200, 1, 8) : 0),
      _appendLine(format.lineBytes()),
      _crcOfZeros(crc32(std::vector<std::uint8_t>(format.lineBytes()).data(), format.lineBytes())) {}

std::uint32_t LinePattern::draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) {
    const Canvas image{pixels, {_format.width, _top + _height, _format.bytesPerPixel}, _bits};
    prepare(frameNumber);
    const LineRange copied = before ? differing(frameNumber, *before) : everyLine();
    for (std::size_t y = copied.first; y < copied.end; ++y) drawLine(image.line(_top + y), shown(y));
    const LineRange digits = digitLines();
    if (_digitScale != 0)
        drawNumber(image, _digitScale * 4, _top + digits.first, _digitScale, frameNumber, kDigits, kInk, kPaper);
    std::uint32_t crc = 0;
    for (std::size_t y = 0; y < height(); ++y) {
        const Shown part = shown(y);
        const bool asStored = y < digits.first || y >= digits.end;
        crc = _appendLine(crc, asStored ? crcOf(part) : crc32(image.line(_top + y), _format.lineBytes()));
    }
    return crc;
}

void LinePattern::drawLine(std::uint8_t* pixels, const Shown& part) const {
    const std::size_t size = _format.lineBytes();
    if (part.mixedIn)
        mix(pixels, part.line->pixels(part.offset), part.mixedIn->pixels(part.mixedOffset), size);
    else
        std::memcpy(pixels, part.line->pixels(part.offset), size);
}

// A CRC is linear except for its initial and final inversion, which the CRC of zeros cancels.
std::uint32_t LinePattern::crcOf(const Shown& part) const {
    const std::uint32_t own = part.line->crc(part.offset);
    return part.mixedIn ? own ^ part.mixedIn->crc(part.mixedOffset) ^ _crcOfZeros : own;
}

LineRange LinePattern::digitLines() const {
    const std::size_t first = std::min(_digitScale * 4, height());
    return {first, std::min(first + numberHeight(_digitScale), height())};
}

}  // namespace frames
