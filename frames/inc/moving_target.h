// The moving target: a fixed scale of grey steps and a grid, over which a disc and a bar move, and the frame number in
// digits. No two consecutive frames are equal, and none is uniform.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "crc32_append.h"
#include "image_view.h"
#include "pixel_writer.h"
#include "strip.h"

namespace frames {

/// Renders the target for one image format. Use it from one thread at a time.
class MovingTarget {
public:
    /// @param bits  Significant bits of 2-byte pixels, 8 … 16.
    /// @param strip  Whose lines are left alone.
    explicit MovingTarget(const ImageFormat& format, unsigned bits = kFullBits, const StripWish& strip = {});

    /// Draws a frame, without the strip's lines if the format has a strip.
    ///
    /// @param pixels  An image of the format.
    /// @param before  Number of the frame that this target drew into these pixels last, with nothing changed since
    ///                but the strip's lines: then only what moves is drawn. None: everything is.
    /// @return        CRC-32 of the bytes outside the strip.
    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) const;

private:
    struct Rectangle {
        std::size_t left, top, width, height;
    };
    void restore(const Canvas& image, const Rectangle& area) const;
    Rectangle digitsArea() const;
    Rectangle discArea(std::uint64_t frameNumber) const;
    Rectangle barArea(std::uint64_t frameNumber) const;
    void drawDisc(const Canvas& image, const Rectangle& area) const;
    std::uint32_t crcOf(const Canvas& image, const Rectangle& disc) const;

    ImageFormat _format;
    unsigned _bits;
    Crc32Append _appendLine;
    std::size_t _top;     // first line outside the strip
    std::size_t _height;  // lines outside the strip
    std::size_t _radius;  // of the disc
    std::size_t _scale;   // of the digits
    std::vector<std::uint8_t> _background;
};

}  // namespace frames
