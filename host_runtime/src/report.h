// Shared by trace, errorlog and errortrace: the location that a thread set last, and texts of any length.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "platform.h"

/// The location of a thread's next entry. Plain data, so that it can be thread_local in a library that is unloaded.
struct ReportLocation {
    char file[260];
    char channel[64];
    int line;
    int level;
};

/// Copies a name; of one that is too long, its end, which says most.
template <std::size_t size>
void keepName(char (&kept)[size], const char* name) {
    if (!name) name = "";
    const std::size_t length = std::strlen(name);
    const std::size_t count = std::min(length, size - 1);
    std::memcpy(kept, name + (length - count), count + 1);
}

/// Same as platform_vformat; negative also when memory runs out.
inline int formatted(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    try {
        return platform_vformat(buffer, size, format, arguments);
    } catch (...) {
        return -1;
    }
}

/// Formats like platform_vformat and passes the text, of any length, to a function. If a text cannot be formatted, its
/// format is passed, so that the entry is not lost.
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
        // Without memory the cut text must do.
        if (large && formatted(large.get(), size, format, again) >= 0) text = large.get();
    }
    va_end(again);
    use(text);
}
