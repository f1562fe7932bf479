// What trace, errorlog and errortrace share: the location that a thread gave last, and texts of any length.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "platform.h"

/// Where a thread's next entry comes from. Plain data, so that it can be thread_local in a library that is unloaded.
struct ReportLocation {
    char file[260];
    char channel[64];
    int line;
    int level;
};

/// Copies a name; of one that is too long, its end, which tells most.
template <std::size_t size>
void keepName(char (&kept)[size], const char* name) {
    if (!name) name = "";
    const std::size_t length = std::strlen(name);
    const std::size_t count = std::min(length, size - 1);
    std::memcpy(kept, name + (length - count), count + 1);
}

/// As platform_vformat; negative also when memory runs out.
inline int formatted(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    try {
        return platform_vformat(buffer, size, format, arguments);
    } catch (...) {
        return -1;
    }
}

/// Formats as platform_vformat does and hands the text, of whatever length, to a function. A text that cannot be
/// formatted is handed on as its format, so that the entry is not lost.
template <typename Function>
void withFormattedText(const char* format, std::va_list arguments, Function&& use) {
    if (!format) return use("");
    char buffer[1024];
    std::va_list again;
    va_copy(again, arguments);
    const int length = formatted(buffer, sizeof buffer, format, arguments);
    const char* text = length < 0 ? format : buffer;
    std::unique_ptr<char[]> large;
    if (length >= static_cast<int>(sizeof buffer)) {
        const std::size_t size = static_cast<std::size_t>(length) + 1;
        large.reset(new (std::nothrow) char[size]);
        // Without memory the cut text has to do.
        if (large && formatted(large.get(), size, format, again) >= 0) text = large.get();
    }
    va_end(again);
    use(text);
}
