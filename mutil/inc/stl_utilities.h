// Small helpers for standard strings: printf-style formatting, conversion from and to numbers, unquoting, base64.
// All may be called by any thread.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>

#include "platform.h"

/// Formats into a new string of whatever length the text takes. Size prefixes may be Windows' ("%Iu").
///
/// @return  The text; empty, after an entry in the error log, when it cannot be formatted.
std::string stl_string_format(const char* format, ...) PLATFORM_FORMAT(1, 2);

/// The same with a started argument list, which is used up.
std::string stl_string_format_va(const char* format, std::va_list arguments) PLATFORM_FORMAT(1, 0);

/// Reads the number that a text begins with, as strtod does: white space before it is skipped, the decimal sign is that
/// of the process's locale. What lies outside the range is limited to it.
///
/// @param value  Untouched unless the result is true.
/// @param whole  Whether the number has to reach to the end of the text; an empty text is then the number 0;
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

/// A number with so many digits behind the decimal sign, of the process's locale.
std::string stl_double_to_string(double value, int precision);

/// Removes quoting as a command line has it: double quotes go, a backslash takes the double quote or backslash behind
/// it as it is. The first of double quote, backslash and blank in the text must not be a blank; later blanks stay,
/// quoted or not; kept on purpose: docs/oddities.md, unquote-later-blanks
///
/// @param text  Replaced by the unquoted text; untouched when the result is false.
/// @return      false, after an entry in the error trace, for such a blank, a quote without end or another backslash.
bool stl_string_unquote_space(std::string& text);

/// Replaces a string's bytes by their base64 text.
///
/// @return  false, after an entry in the error trace, with the string empty, when the coder fails.
bool stl_encode_base64(std::string& text);

/// Replaces a base64 text by the bytes that it stands for. Bytes 0 at its end do not count: texts from buffers of a
/// fixed size have them.
///
/// @return  false, after an entry in the error trace, with the string empty, when it is no base64 text.
bool stl_decode_base64(std::string& text);
