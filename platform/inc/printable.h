// Texts of unknown origin, made fit for a terminal.
#pragma once

#include <algorithm>
#include <string>

/// Control characters as question marks: a terminal would obey them.
inline std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return character < ' ' || character == 0x7F; }, '?');
    return text;
}
