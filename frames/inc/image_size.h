// Limits of image sizes, and sizes as people write them.
#pragma once

#include <cstddef>
#include <string>

#include "image_view.h"

namespace frames {

/// Greatest width, height and byte depth that the programs support.
constexpr std::size_t kMaxSide = 65536;
constexpr std::size_t kMaxBytesPerPixel = 16;

/// Reads "1280x1024", each side from 1 to kMaxSide. @return false for any other text.
bool parseSize(const std::string& text, ImageFormat& size);

/// Reads the same, optionally followed by bytes per pixel, "1280x1024x2", from 1 to kMaxBytesPerPixel; default: 1.
bool parseRawSize(const std::string& text, ImageFormat& size);

}  // namespace frames
