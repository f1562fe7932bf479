#include "image_view.h"

#include <algorithm>
#include <cstring>

namespace frames {

void fillPixels(const Canvas& canvas, std::size_t x, std::size_t y, std::size_t count, std::uint8_t grey) {
    const ImageFormat& format = canvas.format;
    if (y >= format.height || x >= format.width) return;
    count = std::min(count, format.width - x);
    std::uint8_t* const first = canvas.line(y) + x * format.bytesPerPixel;
    std::memset(first, grey, count * format.bytesPerPixel);
    if (format.bytesPerPixel != 4) return;
    for (std::size_t pixel = 0; pixel < count; ++pixel) first[pixel * 4 + 3] = 255;
}

}  // namespace frames
