#include "image_view.h"

#include <algorithm>
#include <cstring>

#include "pixel_writer.h"

namespace frames {

void fillPixels(const Canvas& canvas, std::size_t x, std::size_t y, std::size_t count, std::uint8_t grey) {
    const ImageFormat& format = canvas.format;
    if (y >= format.height || x >= format.width) return;
    count = std::min(count, format.width - x);
    if (count == 0) return;
    const std::size_t depth = format.bytesPerPixel;
    std::uint8_t* const first = canvas.line(y) + x * depth;
    if (depth == 1) {
        std::memset(first, grey, count);
        return;
    }
    PixelWriter(depth, canvas.bits).put(first, grey);
    const std::size_t size = count * depth;
    for (std::size_t done = depth; done < size; done *= 2)
        std::memcpy(first + done, first, std::min(done, size - done));
}

}  // namespace frames
