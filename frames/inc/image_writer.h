// Images as the bytes of a file: PNG, binary PGM, or the bare pixels.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "image_file.h"
#include "image_view.h"

namespace frames {

enum class ImageFileFormat {
    png,  // grey for 1 byte per pixel, 16-bit grey for 2, colour for 3, colour with opacity for 4
    pgm,  // P5: grey for 1 byte per pixel, 16 bit (upper byte first, as the format requires) for 2
    raw,  // the pixels as in memory: no header, 16 bit with the lower byte first; any byte depth
};

/// "png", "pgm" or "raw": the format's name and the file name's ending.
const char* imageFileFormatName(ImageFileFormat format);

/// The format with that name; none for any other text.
std::optional<ImageFileFormat> imageFileFormatOf(const std::string& name);

/// Encodes an image as the bytes of a file. No value changes: a reader of the file gets the image's own values.
///
/// @param file      Receives the bytes; its memory is reused.
/// @param pngLevel  How much a PNG is compressed, 0 to kMaxPngLevel (image_file.h).
/// @return          false, with the reason, for a byte depth that the format does not support, or an image without
///                  pixels; for a PNG also for an image of more than 2 GB.
bool encodeImage(const ImageView& image, ImageFileFormat format, std::vector<std::uint8_t>& file, std::string& error,
                 int pngLevel = kDefaultPngLevel);

}  // namespace frames
