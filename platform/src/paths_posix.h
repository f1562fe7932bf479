// Paths as the calls of the Linux layer take them: '\' separates folders as '/' does.
#pragma once

#include <algorithm>
#include <string>

inline std::string nativePath(const char* path) {
    std::string native = path;
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

/// True for a name that can only be a folder's. The root is one anyway.
inline bool endsWithSeparator(const std::string& native) { return native.size() > 1 && native.back() == '/'; }

/// The same path without separators at its end.
inline std::string withoutSeparatorBehind(std::string native) {
    while (endsWithSeparator(native)) native.pop_back();
    return native;
}
