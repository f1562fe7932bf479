// Base64 of byte buffers: the standard alphabet of RFC 4648 with "=" padding and without line breaks.
#pragma once

#include <cstddef>

/// Characters that encode so many bytes, without a terminating zero.
constexpr std::size_t MBase64_EncodedSize(std::size_t size) { return size / 3 * 4 + (size % 3 > 0 ? 4 : 0); }

/// Encodes bytes. Destination and source may be the same buffer; otherwise they must not overlap.
///
/// @param destination  Receives MBase64_EncodedSize characters, and a terminating zero unless told otherwise.
/// @param length       Bytes at source, at least 0. Given as its bitwise complement (~length): no terminating zero.
/// @return             Characters written, not counting a terminating zero.
std::ptrdiff_t MBase64_Encode(char* destination, const void* source, std::ptrdiff_t length);

/// Decodes characters. Destination and source may be the same buffer; otherwise they must not overlap. Blanks and line
/// breaks are illegal, "=" is as well unless it ends the last group as its last one or two characters. Bits of the
/// last character that no byte takes are not looked at.
///
/// @param destination  Receives up to 3 bytes for each 4 characters, and a terminating zero unless told otherwise.
/// @param length       Characters at source, a multiple of 4. Given as its bitwise complement (~length): no terminating
///                     zero.
/// @return             Bytes written, not counting a terminating zero; -1, after an entry in the error trace, for
///                     another length or an illegal character. What was decoded before that character stays.
std::ptrdiff_t MBase64_Decode(void* destination, const char* source, std::ptrdiff_t length);
