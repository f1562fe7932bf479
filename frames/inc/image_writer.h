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
    pgm,  // P5: grey for 1 byte per pixel, 16 bit (upper byte first, as the format wants it) for 2
    raw,  // the pixels as they are in memory: no header, 16 bit with the lower byte first; any byte depth
};

/// "png", "pgm" or "raw": the format's name and the file name's ending.
const char* imageFileFormatName(ImageFileFormat format);

/// The format of a name, none for any other text.
std::optional<ImageFileFormat> imageFileFormatOf(const std::string& name);

/// The bytes of a file. No value is changed: what a reader of the file gets is what the image had.
///
/// @param file      Receives the bytes; its memory is used again.
/// @param pngLevel  How much a PNG is compressed, 0 to kMaxPngLevel (image_file.h).
/// @return          false, with the reason, for a byte depth that the format has no form for, or an image without
///                  pixels; for a PNG also one of more than 2 GB.
bool encodeImage(const ImageView& image, ImageFileFormat format, std::vector<std::uint8_t>& file, std::string& error,
                 int pngLevel = kDefaultPngLevel);

}  // namespace frames
