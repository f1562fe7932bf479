#include "file_error_posix.h"

#include <cerrno>

#include <unistd.h>

#include "last_error_posix.h"

namespace {

bool folderOfExists(const std::string& path) {
    if (path.empty()) return false;  // no path at all
    const std::size_t separator = path.rfind('/');
    return separator == std::string::npos || access(path.substr(0, separator + 1).c_str(), F_OK) == 0;
}

}  // namespace

DWORD platform_fileErrorOf(int errorNumber, const std::string& nativePath) {
    switch (errorNumber) {
        case ENOENT:
            return folderOfExists(nativePath) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
        case EEXIST:
            return ERROR_FILE_EXISTS;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        default:
            return platform_errorOf(errorNumber);
    }
}
