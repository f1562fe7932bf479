#include "pixel_writer.h"

#include <algorithm>
#include <cstring>

namespace frames {

PixelWriter::PixelWriter(std::size_t bytesPerPixel, unsigned bits)
    : _bytesPerPixel(bytesPerPixel), _white(bytesPerPixel == 2 ? (1u << bits) - 1u : 255u) {}

void PixelWriter::put(std::uint8_t* pixel, double brightness) const {
    const unsigned grey = level(brightness);
    if (_bytesPerPixel == 2) {
        pixel[0] = static_cast<std::uint8_t>(grey & 0xFF);
        pixel[1] = static_cast<std::uint8_t>(grey >> 8);
        return;
    }
    std::memset(pixel, static_cast<int>(grey), _bytesPerPixel);
    if (_bytesPerPixel == 4) pixel[3] = 255;
}

void PixelWriter::put(std::uint8_t* pixel, const Colour& colour) const {
    if (_bytesPerPixel != 3 && _bytesPerPixel != 4) return put(pixel, colour.brightness());
    pixel[0] = static_cast<std::uint8_t>(level(colour.red));
    pixel[1] = static_cast<std::uint8_t>(level(colour.green));
    pixel[2] = static_cast<std::uint8_t>(level(colour.blue));
    if (_bytesPerPixel == 4) pixel[3] = 255;
}

unsigned PixelWriter::grey(const std::uint8_t* pixel) const {
    return _bytesPerPixel == 2 ? pixel[0] + 256u * pixel[1] : pixel[0];
}

unsigned PixelWriter::level(double brightness) const {
    const double nearest = std::clamp(brightness, 0.0, 1.0) * _white + 0.5;  // not negative: cutting rounds
    return static_cast<unsigned>(nearest);
}

}  // namespace frames
