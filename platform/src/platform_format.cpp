#include <cstdio>
#include <cstring>
#include <string>

#include "platform.h"

namespace {

// Replaces the Windows size prefixes by those of the C standard: I -> z, I64 -> ll, I32 -> nothing. Flags, width and
// precision are skipped, so that only a prefix in its place changes; "%%" stays.
std::string standardFormat(const char* format) {
    std::string text;
    for (const char* at = format; *at;) {
        text += *at;
        if (*at++ != '%') continue;
        const std::size_t flags = std::strspn(at, "-+ #0'123456789.*");
        text.append(at, flags);
        at += flags;
        if (std::strncmp(at, "I64", 3) == 0) {
            text += "ll";
            at += 3;
        } else if (std::strncmp(at, "I32", 3) == 0) {
            at += 3;
        } else if (*at == 'I') {
            text += 'z';
            at += 1;
        }
        if (*at) text += *at++;
    }
    return text;
}

int formatStandard(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
#if defined(__MINGW32__)
    return __mingw_vsnprintf(buffer, size, format, arguments);  // the C standard's meaning, whatever runtime is linked
#else
    // The analyser does not see that the caller has initialised the list.
    return std::vsnprintf(buffer, size, format, arguments);  // NOLINT(clang-analyzer-valist.Uninitialized)
#endif
}

}  // namespace

int platform_vformat(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    const int length = std::strchr(format, 'I')
                           ? formatStandard(buffer, size, standardFormat(format).c_str(), arguments)
                           : formatStandard(buffer, size, format, arguments);
    if (length < 0 && size > 0) buffer[0] = '\0';
    return length;
}

int platform_format(char* buffer, std::size_t size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = platform_vformat(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}
