#include "absolute_path.h"
#include "platform.h"

// std::filesystem does not read narrow texts in the encoding in which the program gets them.
std::string platform_absolutePath(const std::string& path) {
    std::string absolute(32768, '\0');  // the longest that a path can be
    const DWORD length = GetFullPathNameA(path.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr);
    if (length == 0 || length >= absolute.size()) return path;
    absolute.resize(length);
    return absolute;
}
