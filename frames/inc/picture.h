// Pictures from files, with all that the file holds of them: 16 bits and colours.
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

    /// One line as pixels of a format. Colours stay where the format has them, else become their brightness.
    std::vector<std::uint8_t> line(std::size_t y, const PixelWriter& writer) const;
};

/// What a picture may be, when it is read.
struct PictureWish {
    bool colour = false;  // else colours become their brightness
    /// That reading may take at a time: the file, what the decoder takes, the samples.
    std::size_t maxBytes = std::numeric_limits<std::size_t>::max();
    const char* maxBytesOption = nullptr;  // what a user can set them with, such as "--image-memory"
    bool (*stopRequested)() = nullptr;     // asked between the images of one file
};

/// Reads a PNG, JPEG, BMP or TIFF file, or a PGM file in binary form (P5); the content decides, not the name. A build
/// without a TIFF library refuses those with a reason that says so. Samples of fewer bits are spread over the whole
/// range; opacity is left out. Only a regular file is opened, and none read that is larger than
/// the wish allows. No more memory is taken than the wish allows, whatever the file holds: what can be told from its
/// header is refused before it is decoded, and a decoder that inflates it to more than its header promises is stopped.
/// Sides of more than kMaxSide pixels are refused (image_size.h).
/// @return  false, with the file's name and the reason; picture is then untouched.
bool readPicture(const std::string& path, const PictureWish& wish, Picture& picture, std::string& error);

/// The same of a file's bytes. @return false, with the reason.
bool decodePicture(const std::vector<std::uint8_t>& file, const PictureWish& wish, Picture& picture,
                   std::string& error);

/// Takes the next picture. @return false when no further one is wanted.
using PictureTaker = std::function<bool(Picture&& picture)>;

/// Reads a file that holds pixels of a format and nothing else: one image or several, one behind the other. Of more
/// than 4 bytes per pixel the first one is the grey. Only one of them is in memory at a time. When a stop is requested
/// the images after the first are left out.
///
/// @param bits  Significant bits of 2-byte pixels; greater values are white.
/// @return      false, with the file's name and the reason; pictures before it have been taken.
bool readRawPictures(const std::string& path, const ImageFormat& format, unsigned bits, const PictureWish& wish,
                     const PictureTaker& take, std::string& error);

/// A picture in another size: each side that shrinks by the mean of the area that falls onto a pixel (box), each that
/// grows by straight lines between the centres of pixels (bilinear). Sides keep no proportion.
///
/// @param width, height  At least 1.
/// @throws std::bad_alloc  without the memory of scalingBytes.
Picture scaled(const Picture& picture, std::size_t width, std::size_t height);

/// Greatest number of bytes that scaled takes, beside the picture's own, with those of its result.
std::size_t scalingBytes(const Picture& picture, std::size_t width, std::size_t height);

}  // namespace frames
