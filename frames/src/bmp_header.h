// The header of a BMP file, checked before a decoder goes into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "picture_limits.h"

namespace frames {

/// Whether the header of a BMP file makes sense and its pixels are there, not compressed.
///
/// @param file  Begins with "BM".
/// @param size  Of the picture, once the header was read.
/// @return      Why not, in words that follow the file's name; empty when they are.
std::string problemOfBmpHeader(const std::uint8_t* file, std::size_t bytes, PictureSize& size);

}  // namespace frames
