// A picture of which images show a part, ready to copy: its pixels in the images' format, with the CRC of each part of
// a line that an image can show. It uses two blocks, whatever its shape, so its memory is known beforehand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "crc32_append.h"
#include "image_view.h"
#include "picture.h"
#include "pixel_writer.h"

namespace frames {

/// Computes the CRC of each part of a line that an image can show.
/// @param line    Line with that many bytes, at least one line of the image's format.
/// @param append  For blocks as long as a line of the image.
/// @param crcs    Receives the CRC of the part from each pixel on: (bytes - image line) / bytes per pixel + 1 of them.
void sumUpParts(const std::uint8_t* line, std::size_t bytes, const ImageFormat& image, const Crc32Append& append,
                std::uint32_t* crcs);

class StoredPicture {
public:
    /// @param image    Format of the images, in neither direction larger than the picture.
    /// @param append   For blocks as long as a line of them.
    /// @param picture  Is empty afterwards.
    StoredPicture(Picture&& picture, const ImageFormat& image, const PixelWriter& writer, const Crc32Append& append);

    /// Bytes that a picture of that size uses, including this object.
    static std::size_t bytes(std::size_t width, std::size_t height, const ImageFormat& image);

    /// Bytes that this picture uses. @param image  Format of the images.
    std::size_t bytes(const ImageFormat& image) const {
        return bytes(lastX() + image.width, lastY() + image.height, image);
    }

    /// Greatest position of an image's upper left corner.
    std::size_t lastX() const { return _parts - 1; }
    std::size_t lastY() const { return _lastY; }

    const std::uint8_t* pixels(std::size_t x, std::size_t y) const {
        return _pixels.data() + y * _lineBytes + x * _bytesPerPixel;
    }
    std::uint32_t crc(std::size_t x, std::size_t y) const { return _crcs[y * _parts + x]; }

private:
    std::size_t _bytesPerPixel;
    std::size_t _lineBytes;
    std::size_t _parts;  // of a line
    std::size_t _lastY;
    std::vector<std::uint8_t> _pixels;
    std::vector<std::uint32_t> _crcs;
};

}  // namespace frames
