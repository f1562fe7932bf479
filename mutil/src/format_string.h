// printf-style formatting into a string of any length.
#pragma once

#include <cstdarg>
#include <string>

#include "platform.h"

/// Formats like platform_vformat.
///
/// @param text  Receives the whole text; empty when it cannot be formatted.
/// @return      false when it cannot be formatted.
bool formatString(std::string& text, const char* format, std::va_list arguments) PLATFORM_FORMAT(2, 0);
