// Small images like those of a simulator.
#pragma once

#include <cstdint>
#include <vector>

#include "image_view.h"
#include "inspection.h"
#include "platform.h"
#include "strip.h"

namespace test {

constexpr frames::ImageFormat kFormat{900, 20, 1};

/// The image with that number, with a valid strip.
inline std::vector<unsigned char> simulated(std::uint64_t number,
                                            std::int64_t timeStampNs = platform_monotonicNanoseconds()) {
    std::vector<unsigned char> bytes(kFormat.bytes(), static_cast<unsigned char>(number));
    const frames::Canvas canvas{bytes.data(), kFormat};
    frames::stampStrip(canvas, {0, number, static_cast<std::uint64_t>(timeStampNs), frames::crcOutsideStrip(canvas)});
    return bytes;
}

}  // namespace test
