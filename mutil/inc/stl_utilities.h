// Small helpers for standard strings: printf-style formatting, conversion from and to numbers, unquoting, base64.
// All may be called by any thread.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>

#include "platform.h"

/// Formats into a new string of any length. Windows size prefixes are allowed ("%Iu").
///
/// @return  The text; empty, after an entry in the error log, when it cannot be formatted.
std::string stl_string_format(const char* format, ...) PLATFORM_FORMAT(1, 2);

/// The same with a started argument list, which it consumes.
std::string stl_string_format_va(const char* format, std::va_list arguments) PLATFORM_FORMAT(1, 0);

/// Reads the number at the start of a text, as strtod does: leading white space is skipped, the decimal sign is that of
/// the process's locale. Values outside the range are limited to it.
///
/// @param value  Untouched unless the result is true.
/// @param whole  Whether the number must extend to the end of the text; an empty text is then the number 0;
///               kept on purpose: docs/oddities.md, empty-text-is-zero
/// @return       Whether there is such a number.
bool stl_string_to_double(const std::string& text, double& value, bool whole);

/// The same for a decimal integer; "0x10" begins with the number 0.
bool stl_string_to_int(const std::string& text, std::int32_t& value, bool whole);

/// A number as a new string stream writes it: six significant digits for a floating-point one.
template <typename Number>
std::string stl_to_string(Number value) {
    static_assert(std::is_arithmetic_v<Number>);
    std::ostringstream text;
    text << value;
    return text.str();
}

/// A number with that many digits after the decimal sign, which is that of the process's locale.
std::string stl_double_to_string(double value, int precision);

/// Removes quoting as on a command line: double quotes are removed, and a backslash makes the following double quote or
/// backslash literal. The first double quote, backslash or blank in the text must not be a blank; later blanks stay,
/// quoted or not; kept on purpose: docs/oddities.md, unquote-later-blanks
///
/// @param text  Replaced by the unquoted text; untouched when the result is false.
/// @return      false, after an entry in the error trace, for such a blank, an unclosed quote or any other backslash.
bool stl_string_unquote_space(std::string& text);

/// Replaces a string's bytes by their base64 text.
///
/// @return  false, after an entry in the error trace, with the string empty, when the coder fails.
bool stl_encode_base64(std::string& text);

/// Replaces a base64 text by the bytes that it encodes. Bytes 0 at its end are ignored, because texts from fixed-size
/// buffers contain them.
///
/// @return  false, after an entry in the error trace, with the string empty, when it is not a base64 text.
bool stl_decode_base64(std::string& text);
