// The frame of a PNG file, checked before a decoder goes into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace frames {

/// A number of four bytes, as PNG files have them.
inline std::uint32_t bigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

/// Whether the chunks of a PNG file are whole: IHDR first, IEND last, pixels in IDATs that follow each other between
/// them, and each one's check sum right. What stands behind IEND does not count.
///
/// @param file  Begins with the signature.
/// @return      Why not, in words that follow the file's name; empty when they are.
std::string problemOfPngChunks(const std::uint8_t* file, std::size_t size);

}  // namespace frames
