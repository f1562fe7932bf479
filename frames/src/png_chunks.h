// Checks the chunks of a PNG file before a decoder reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace frames {

/// A four-byte number in the byte order of PNG files.
inline std::uint32_t bigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

/// Whether the chunks of a PNG file are complete: IHDR first, IEND last, the pixels in consecutive IDATs between them,
/// and each check sum correct. Bytes after IEND are ignored.
///
/// @param file  Begins with the signature.
/// @return      Why not, in words that follow the file's name; empty when they are.
std::string problemOfPngChunks(const std::uint8_t* file, std::size_t size);

}  // namespace frames
