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

}  // namespace

void StoredLine::assign(std::vector<std::uint8_t> bytes, const ImageFormat& format, const Crc32Append& append) {
    _bytes = std::move(bytes);
    _bytesPerPixel = format.bytesPerPixel;
    _crcs.resize((_bytes.size() - format.lineBytes()) / _bytesPerPixel + 1);
    sumUpParts(_bytes.data(), _bytes.size(), format, append, _crcs.data());
}

LinePattern::LinePattern(const ImageFormat& format, unsigned bits, bool digits)
    : _format(format),
      _bits(bits),
      _writer(format.bytesPerPixel, bits),
      _top(stripLines(format)),
      _digitScale(digits ? std::clamp<std::size_t>(format.width / 200, 1, 8) : 0),
      _appendLine(format.lineBytes()) {}

std::uint32_t LinePattern::draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) {
    const Canvas image{pixels, _format, _bits};
    prepare(frameNumber);
    const LineRange copied = before ? differing(frameNumber, *before) : everyLine();
    for (std::size_t y = copied.first; y < copied.end; ++y) {
        const Shown part = shown(y);
        std::memcpy(image.line(_top + y), part.line->pixels(part.offset), _format.lineBytes());
    }
    const LineRange digits = digitLines();
    if (_digitScale != 0)
        drawNumber(image, _digitScale * 4, _top + digits.first, _digitScale, frameNumber, kDigits, kInk, kPaper);
    std::uint32_t crc = 0;
    for (std::size_t y = 0; y < height(); ++y) {
        const Shown part = shown(y);
        const bool asStored = y < digits.first || y >= digits.end;
        crc =
            _appendLine(crc, asStored ? part.line->crc(part.offset) : crc32(image.line(_top + y), _format.lineBytes()));
    }
    return crc;
}

LineRange LinePattern::digitLines() const {
    const std::size_t first = std::min(_digitScale * 4, height());
    return {first, std::min(first + numberHeight(_digitScale), height())};
}

}  // namespace frames
