// Paths as the calls of the Linux layer take them: '\' separates folders as '/' does.
#pragma once

#include <algorithm>
#include <string>

inline std::string nativePath(const char* path) {
    std::string native = path;
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}
