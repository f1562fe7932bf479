#include "image_writer.h"

#include <cstring>
#include <iterator>

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr const char* kNames[] = {"png", "pgm", "raw"};  // in the order of ImageFileFormat

bool encodePgm(const ImageView& image, Bytes& file, std::string& error) {
    const ImageFormat& format = image.format;
    if (format.bytesPerPixel != 1 && format.bytesPerPixel != 2) {
        error = "PGM has no form for " + std::to_string(format.bytesPerPixel) + " bytes per pixel";
        return false;
    }
    const std::string header = "P5\n" + std::to_string(format.width) + ' ' + std::to_string(format.height) +
                               (format.bytesPerPixel == 1 ? "\n255\n" : "\n65535\n");
    file.resize(header.size() + format.bytes());
    std::memcpy(file.data(), header.data(), header.size());
    std::uint8_t* const pixels = file.data() + header.size();
    if (format.bytesPerPixel == 1) {
        std::memcpy(pixels, image.pixels, format.bytes());
        return true;
    }
    for (std::size_t byte = 0; byte < format.bytes(); byte += 2) {
        pixels[byte] = image.pixels[byte + 1];
        pixels[byte + 1] = image.pixels[byte];
    }
    return true;
}

}  // namespace

const char* imageFileFormatName(ImageFileFormat format) { return kNames[static_cast<std::size_t>(format)]; }

std::optional<ImageFileFormat> imageFileFormatOf(const std::string& name) {
    for (std::size_t index = 0; index < std::size(kNames); ++index) {
        if (name == kNames[index]) return static_cast<ImageFileFormat>(index);
    }
    return std::nullopt;
}

bool encodeImage(const ImageView& image, ImageFileFormat format, Bytes& file, std::string& error, int pngLevel) {
    if (format == ImageFileFormat::png) return encodePng(image, file, error, pngLevel);
    if (!image.pixels || image.format.bytes() == 0) {
        error = "an image without pixels cannot be saved";
        return false;
    }
    if (format == ImageFileFormat::pgm) return encodePgm(image, file, error);
    file.assign(image.pixels, image.pixels + image.format.bytes());
    return true;
}

}  // namespace frames
