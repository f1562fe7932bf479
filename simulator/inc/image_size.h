// Image sizes as people write them.
#pragma once

#include <string>

#include "image_view.h"

namespace simulator {

/// Reads "1280x1024", each side from 1 to kMaxSide. @return false for anything else.
bool parseSize(const std::string& text, frames::ImageFormat& size);

/// Reads the same, or with bytes per pixel behind it, "1280x1024x2", from 1 to kMaxBytesPerPixel; without: 1.
bool parseRawSize(const std::string& text, frames::ImageFormat& size);

}  // namespace simulator
