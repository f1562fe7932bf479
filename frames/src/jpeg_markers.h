// The frame of a JPEG file, checked before a decoder goes into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "picture_limits.h"

namespace frames {

/// Whether the segments of a JPEG file are whole: each one's length, a frame of a kind that is read, scans, the end
/// mark. Each scan makes the decoder go over the whole picture: more of them than anybody needs are refused.
///
/// @param file  Begins with the start mark.
/// @param size  Of the picture, once the frame header was found.
/// @return      Why not, in words that follow the file's name; empty when they are.
std::string problemOfJpegMarkers(const std::uint8_t* file, std::size_t bytes, PictureSize& size);

}  // namespace frames
