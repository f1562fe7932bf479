// Image files: writes PNG; reads PNG and binary PGM as grey.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "image_view.h"

namespace frames {

/// An 8-bit grey image in memory.
struct GreyImage {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint8_t> pixels;
};

/// How much a PNG is compressed: 0 not at all, as fast as a copy; 1 as fast as compression allows; 9 as small as
/// possible.
constexpr int kMaxPngLevel = 9;
constexpr int kDefaultPngLevel = 1;

/// The bytes of a PNG file: grey for 1 byte per pixel, 16-bit grey for 2, colour for 3, colour with opacity for 4.
/// Several threads may encode images at a time.
///
/// @param level  0 to kMaxPngLevel.
/// @return       false, with the reason, for another byte depth, an image without pixels or one of more than 2 GB.
bool encodePng(const ImageView& image, std::vector<std::uint8_t>& file, std::string& error,
               int level = kDefaultPngLevel);

/// Writes an image as encoded by encodePng. @return false, with the file's name and the reason, when that fails.
bool writePng(const std::string& path, const ImageView& image, std::string& error);

/// Reads a PNG file, or a binary PGM file (P5), like readPicture, as 8-bit grey: colours become their brightness, of 16
/// bits the upper 8 are used, other ranges are spread to 0 … 255.
/// @return  false, with the file's name and the reason; image is then untouched.
bool readGreyImage(const std::string& path, GreyImage& image, std::string& error);

}  // namespace frames
