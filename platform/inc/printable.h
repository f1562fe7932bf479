// Makes text of unknown origin safe to print on a terminal.
#pragma once

#include <cstddef>
#include <string>

/// Replaces control characters by question marks, one per byte, also those of UTF-8 (U+0080 to U+009F): a terminal
/// would obey them.
inline std::string printable(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        if (byte < ' ' || byte == 0x7F) text[i] = '?';
        if (byte == 0xC2 && next >= 0x80 && next < 0xA0) text[i] = text[i + 1] = '?';
    }
    return text;
}
