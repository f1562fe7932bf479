// Texts of entries on one line: control characters become \n, \t, \x1b …
#pragma once

#include <cstddef>
#include <string_view>

/// U+0080 to U+009F in UTF-8, which terminals obey as well.
inline bool isLateControl(const char* text) {
    const auto second = static_cast<unsigned char>(text[1]);
    return static_cast<unsigned char>(text[0]) == 0xC2 && second >= 0x80 && second < 0xA0;
}

/// "\x1b"
struct EscapedByte {
    explicit EscapedByte(char byte) {
        constexpr char kDigits[] = "0123456789abcdef";
        const auto value = static_cast<unsigned char>(byte);
        text[2] = kDigits[value >> 4];
        text[3] = kDigits[value & 15];
    }
    char text[4] = {'\\', 'x', '0', '0'};
    std::string_view view() const { return {text, sizeof text}; }
};

/// Hands a text on, piece by piece: a byte, or an escape as a whole.
template <typename Put>
void putOnOneLine(const char* text, Put&& put) {
    for (; *text; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (isLateControl(text)) {
            put(EscapedByte(text[0]).view());
            put(EscapedByte(*++text).view());
        } else if (byte >= 0x20 && byte != 0x7F) {
            put(std::string_view(text, 1));
        } else if (byte == '\n') {
            put(std::string_view("\\n"));
        } else if (byte == '\r') {
            put(std::string_view("\\r"));
        } else if (byte == '\t') {
            put(std::string_view("\\t"));
        } else {
            put(EscapedByte(*text).view());
        }
    }
}
