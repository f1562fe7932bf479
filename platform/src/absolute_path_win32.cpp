#include "absolute_path.h"
#include "platform.h"

// Not by std::filesystem, which does not take narrow texts in the encoding in which the program gets them.
std::string host::absolutePath(const std::string& path) {
    std::string absolute(32768, '\0');  // the longest that a path can be
    const DWORD length = GetFullPathNameA(path.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr);
    if (length == 0 || length >= absolute.size()) return path;
    absolute.resize(length);
    return absolute;
}
