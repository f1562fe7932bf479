// Base64 of byte buffers: the standard alphabet of RFC 4648 with "=" padding and without line breaks.
#pragma once

#include <cstddef>

/// Number of characters for that many bytes, without a terminating zero.
constexpr std::size_t MBase64_EncodedSize(std::size_t size) { return size / 3 * 4 + (size % 3 > 0 ? 4 : 0); }

/// Encodes bytes. Destination and source may be the same buffer; otherwise they must not overlap.
///
/// @param destination  Receives MBase64_EncodedSize characters, and a terminating zero unless length forbids it.
/// @param length       Bytes at source, at least 0. Its bitwise complement (~length) means: no terminating zero.
/// @return             Characters written, without the terminating zero.
std::ptrdiff_t MBase64_Encode(char* destination, const void* source, std::ptrdiff_t length);

/// Decodes characters. Destination and source may be the same buffer; otherwise they must not overlap. Blanks and line
/// breaks are illegal; "=" is legal only as the last one or two characters of the last group. Bits of the last
/// character that belong to no byte are ignored.
///
/// @param destination  Receives up to 3 bytes for each 4 characters, and a terminating zero unless length forbids it.
/// @param length       Characters at source, a multiple of 4. Its bitwise complement (~length) means: no terminating
///                     zero.
/// @return             Bytes written, without the terminating zero; -1, after an entry in the error trace, for another
///                     length or an illegal character. Bytes decoded before that character stay.
std::ptrdiff_t MBase64_Decode(void* destination, const char* source, std::ptrdiff_t length);
