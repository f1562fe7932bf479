// Pictures from files, with full depth: 16 bits and colours.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "image_view.h"
#include "pixel_writer.h"

namespace frames {

/// A picture in memory: lines from the top, each sample 0 … 65535.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t channels = 1;            // 1: grey; 3: red, green, blue
    std::vector<std::uint16_t> samples;  // width * height * channels

    /// One line as pixels of a format. If the format has no colours, they become their brightness.
    std::vector<std::uint8_t> line(std::size_t y, const PixelWriter& writer) const;
};

/// How a picture is read.
struct PictureWish {
    bool colour = false;  // otherwise colours become their brightness
    /// Limit on the memory for reading at any time: the file, the decoder's blocks, the samples.
    std::size_t maxBytes = std::numeric_limits<std::size_t>::max();
    const char* maxBytesOption = nullptr;  // the user's option for this limit, such as "--image-memory"
    bool (*stopRequested)() = nullptr;     // called between the images of one file
};

/// Reads a PNG, JPEG, BMP or TIFF file, or a PGM file in binary form (P5); the content decides, not the name. A build
/// without a TIFF library refuses those with a reason that says so. Samples of fewer bits are spread over the whole
/// range; opacity is left out. Only a regular file is opened, and none read that is larger than
/// the wish allows. No more memory is taken than the wish allows, whatever the file holds: what can be told from its
/// header is refused before it is decoded, and a decoder that inflates it to more than its header promises is stopped.
/// Sides of more than kMaxSide pixels are refused (image_size.h).
/// @return  false, with the file's name and the reason; picture is then untouched.
bool readPicture(const std::string& path, const PictureWish& wish, Picture& picture, std::string& error);

/// The same for a file's bytes. @return false, with the reason.
bool decodePicture(const std::vector<std::uint8_t>& file, const PictureWish& wish, Picture& picture,
                   std::string& error);

/// Receives the next picture. @return false when no further one is wanted.
using PictureTaker = std::function<bool(Picture&& picture)>;

/// Reads a file that contains only pixels of a format: one image or several, back to back. Of more than 4 bytes per
/// pixel the first byte is the grey. Only one image is in memory at a time. When a stop is requested, the images after
/// the first are skipped.
///
/// @param bits  Significant bits of 2-byte pixels; greater values are white.
/// @return      false, with the file's name and the reason; earlier pictures have been delivered.
bool readRawPictures(const std::string& path, const ImageFormat& format, unsigned bits, const PictureWish& wish,
                     const PictureTaker& take, std::string& error);

/// A picture in another size. A side that shrinks uses the mean of the area that falls onto a pixel (box); a side that
/// grows interpolates linearly between the centres of pixels (bilinear). Proportions are not kept.
///
/// @param width, height  At least 1.
/// @throws std::bad_alloc  without the memory of scalingBytes.
Picture scaled(const Picture& picture, std::size_t width, std::size_t height);

/// Greatest number of bytes that scaled uses, including its result but not the picture.
std::size_t scalingBytes(const Picture& picture, std::size_t width, std::size_t height);

}  // namespace frames
