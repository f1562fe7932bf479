// How brightness becomes the bytes of a pixel, for every byte depth:
//
//   1 byte            grey, 0 … 255
//   2 bytes           grey, little-endian, 0 … 2^bits - 1 in the low bits
//   3 bytes           red, green, blue
//   4 bytes           red, green, blue, opacity 255
//   more than 4       every byte the grey of 1 byte
#pragma once

#include <cstddef>
#include <cstdint>

namespace frames {

/// Significant bits of 2-byte pixels by default.
constexpr unsigned kFullBits = 16;

/// Brightness of the three colours, each 0 dark … 1 bright.
struct Colour {
    double red = 0.0;
    double green = 0.0;
    double blue = 0.0;

    /// Perceived brightness: weights 0.299, 0.587, 0.114.
    double brightness() const { return 0.299 * red + 0.587 * green + 0.114 * blue; }
};

class PixelWriter {
public:
    /// @param bits  8 … 16; used for 2 bytes per pixel only.
    explicit PixelWriter(std::size_t bytesPerPixel, unsigned bits = kFullBits);

    /// Writes one pixel, rounded to the nearest grey; brightness outside 0 … 1 is clipped.
    void put(std::uint8_t* pixel, double brightness) const;

    /// Writes one pixel; if the format has no colours, its brightness.
    void put(std::uint8_t* pixel, const Colour& colour) const;

    /// Writes one pixel from a grey of 8 bits: 0 black … 255 white.
    void put(std::uint8_t* pixel, std::uint8_t grey) const { put(pixel, grey / 255.0); }

    /// Grey of a pixel, 0 … whiteGrey(); for a coloured pixel its red.
    unsigned grey(const std::uint8_t* pixel) const;

    /// Grey of white: 255, for 2 bytes 2^bits - 1.
    unsigned whiteGrey() const { return _white; }

    std::size_t bytesPerPixel() const { return _bytesPerPixel; }

private:
    unsigned level(double brightness) const;

    std::size_t _bytesPerPixel;
    unsigned _white;
};

}  // namespace frames
