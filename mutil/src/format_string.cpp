#include "format_string.h"

bool formatString(std::string& text, const char* format, std::va_list arguments) {
    char shortText[1024];
    std::va_list measured;
    std::va_list written;
    va_copy(measured, arguments);  // each pass uses up its list
    va_copy(written, arguments);
    int length = platform_vformat(shortText, sizeof shortText, format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < sizeof shortText) {
        text.assign(shortText, static_cast<std::size_t>(length));
    } else {
        // Too long, or a formatter that reports an error when a text is too long.
        length = platform_vformat(nullptr, 0, format, measured);
        text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        // The terminator overwrites the string's own.
        if (length >= 0) length = platform_vformat(text.data(), text.size() + 1, format, written);
        if (length < 0) text.clear();
    }
    va_end(written);
    va_end(measured);
    return length >= 0;
}
