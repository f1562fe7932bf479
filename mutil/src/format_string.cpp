#include "format_string.h"

bool formatString(std::string& text, const char* format, std::va_list arguments) {
    char shortText[1024];
    std::va_list again;
    va_copy(again, arguments);  // the first pass uses up its list
    const int length = platform_vformat(shortText, sizeof shortText, format, arguments);
    if (length < 0) {
        text.clear();
    } else if (const auto size = static_cast<std::size_t>(length); size < sizeof shortText) {
        text.assign(shortText, size);
    } else {
        text.resize(size);
        platform_vformat(text.data(), size + 1, format, again);  // the terminator lands on the string's own
    }
    va_end(again);
    return length >= 0;
}
