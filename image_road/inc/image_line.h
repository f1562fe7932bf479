// A line of the ring of images: one image with its header. docs/wire-format.md draws it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace image_road {

/// Start of a line, as the simulator writes it. Lines may be at any address: copy, do not cast.
struct ImageLineHeader {
    std::uint64_t imageCounter;  //  0  number of the image; the camera takes its low 32 bits
    double timeStampS;           //  8  seconds of the machine's monotonic clock when the image was complete
    double frameTimeS;           // 16  seconds from one image to the next
};                               // 24  first pixel
static_assert(std::is_trivially_copyable_v<ImageLineHeader> && sizeof(ImageLineHeader) == 24);
static_assert(offsetof(ImageLineHeader, timeStampS) == 8 && offsetof(ImageLineHeader, frameTimeS) == 16);

/// Bytes of the simulator's line for one image: header and pixels, rounded up to a multiple of 8.
constexpr std::size_t imageLineBytes(std::size_t pixelBytes) {
    return (sizeof(ImageLineHeader) + pixelBytes + 7) / 8 * 8;
}

}  // namespace image_road
