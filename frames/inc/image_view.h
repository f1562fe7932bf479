// Pixels that somebody else owns, with their geometry: lines from the top, no padding, little-endian pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace frames {

/// Geometry of an image.
struct ImageFormat {
    std::size_t width = 0;   // pixels
    std::size_t height = 0;  // lines
    std::size_t bytesPerPixel = 1;

    std::size_t lineBytes() const { return width * bytesPerPixel; }
    std::size_t bytes() const { return lineBytes() * height; }
    bool operator==(const ImageFormat&) const = default;
};

/// An image to look at.
struct ImageView {
    const std::uint8_t* pixels = nullptr;
    ImageFormat format;

    const std::uint8_t* line(std::size_t y) const { return pixels + y * format.lineBytes(); }
};

/// An image to draw into.
struct Canvas {
    std::uint8_t* pixels = nullptr;
    ImageFormat format;
    unsigned bits = 16;  // significant bits of 2-byte pixels

    std::uint8_t* line(std::size_t y) const { return pixels + y * format.lineBytes(); }
    operator ImageView() const { return {pixels, format}; }
};

/// Sets count pixels of a line to one grey, 0 … 255, as PixelWriter writes it for their byte depth. Pixels outside the
/// canvas are not written.
void fillPixels(const Canvas& canvas, std::size_t x, std::size_t y, std::size_t count, std::uint8_t grey);

}  // namespace frames
