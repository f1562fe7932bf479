#include <filesystem>
#include <system_error>

#include "absolute_path.h"

std::string host::absolutePath(const std::string& path) {
    std::error_code failure;
    const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
    return failure ? path : absolute.string();
}
