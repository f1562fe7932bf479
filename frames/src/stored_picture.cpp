#include "stored_picture.h"

#include <algorithm>
#include <utility>

#include "crc32.h"

namespace frames {

void sumUpParts(const std::uint8_t* line, std::size_t bytes, const ImageFormat& image, const Crc32Append& append,
                std::uint32_t* crcs) {
    const std::size_t shown = image.lineBytes();
    const std::size_t last = (bytes - shown) / image.bytesPerPixel;
    std::uint32_t before = 0;  // of all bytes before the part
    std::uint32_t both = crc32(line, shown);
    for (std::size_t offset = 0;; ++offset, line += image.bytesPerPixel) {
        crcs[offset] = append.blockOf(before, both);
        if (offset == last) return;
        before = crc32(line, image.bytesPerPixel, before);
        both = crc32(line + shown, image.bytesPerPixel, both);
    }
}

StoredPicture::StoredPicture(Picture&& picture, const ImageFormat& image, const PixelWriter& writer,
                             const Crc32Append& append)
    : _bytesPerPixel(image.bytesPerPixel),
      _lineBytes(picture.width * image.bytesPerPixel),
      _parts(picture.width - image.width + 1),
      _lastY(picture.height - image.height),
      _pixels(_lineBytes * picture.height),
      _crcs(_parts * picture.height) {
    const Picture read = std::move(picture);
    for (std::size_t y = 0; y < read.height; ++y) {
        std::uint8_t* const line = _pixels.data() + y * _lineBytes;
        std::ranges::copy(read.line(y, writer), line);
        sumUpParts(line, _lineBytes, image, append, _crcs.data() + y * _parts);
    }
}

std::size_t StoredPicture::bytes(std::size_t width, std::size_t height, const ImageFormat& image) {
    constexpr std::size_t kBlocks = std::size_t{2} * 32;  // of the allocator's own
    const std::size_t lineBytes = width * image.bytesPerPixel + (width - image.width + 1) * sizeof(std::uint32_t);
    return lineBytes * height + sizeof(StoredPicture) + kBlocks;
}

}  // namespace frames
