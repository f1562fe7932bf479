#include "last_error_posix.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <unistd.h>

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

struct ErrorRow {
    int number;
    DWORD code;
    DWORD fileCode;
};

// clang-format off
constexpr ErrorRow kErrors[] = {
    // errno          objects and memory          files
    { ENOENT,       ERROR_FILE_NOT_FOUND,       ERROR_FILE_NOT_FOUND },  // of a file: or 3, see below
    { ENOTDIR,      ERROR_PATH_NOT_FOUND,       ERROR_PATH_NOT_FOUND },
    { EMFILE,       ERROR_TOO_MANY_OPEN_FILES,  ERROR_TOO_MANY_OPEN_FILES },
    { ENFILE,       ERROR_TOO_MANY_OPEN_FILES,  ERROR_TOO_MANY_OPEN_FILES },
    { EACCES,       ERROR_ACCESS_DENIED,        ERROR_ACCESS_DENIED },
    { EPERM,        ERROR_ACCESS_DENIED,        ERROR_ACCESS_DENIED },
    { ELOOP,        ERROR_ACCESS_DENIED,        ERROR_ACCESS_DENIED },
    { EISDIR,       ERROR_ACCESS_DENIED,        ERROR_ACCESS_DENIED },
    { EROFS,        ERROR_ACCESS_DENIED,        ERROR_ACCESS_DENIED },
    { ENXIO,        ERROR_ACCESS_DENIED,        ERROR_ACCESS_DENIED },
    { EEXIST,       ERROR_IO_DEVICE,            ERROR_FILE_EXISTS },
    { ENOMEM,       ERROR_NOT_ENOUGH_MEMORY,    ERROR_NOT_ENOUGH_MEMORY },
    { ENOSPC,       ERROR_COMMITMENT_LIMIT,     ERROR_DISK_FULL },
    { EFBIG,        ERROR_COMMITMENT_LIMIT,     ERROR_DISK_FULL },
    { EDQUOT,       ERROR_COMMITMENT_LIMIT,     ERROR_DISK_FULL },
    { EINVAL,       ERROR_INVALID_PARAMETER,    ERROR_INVALID_PARAMETER },
    { ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE, ERROR_FILENAME_EXCED_RANGE },
};
// clang-format on

DWORD codeOf(int errorNumber, DWORD ErrorRow::*column) {
    const auto* const row = std::ranges::find(kErrors, errorNumber, &ErrorRow::number);
    return row == std::end(kErrors) ? ERROR_IO_DEVICE : row->*column;
}

bool folderOfExists(const std::string& path) {
    if (path.empty()) return false;  // no path at all
    const std::size_t separator = path.rfind('/');
    return separator == std::string::npos || access(path.substr(0, separator + 1).c_str(), F_OK) == 0;
}

}  // namespace

DWORD platform_errorOf(int errorNumber) { return codeOf(errorNumber, &ErrorRow::code); }

DWORD platform_fileErrorOf(int errorNumber, const std::string& nativePath) {
    if (errorNumber == ENOENT && !folderOfExists(nativePath)) return ERROR_PATH_NOT_FOUND;
    return codeOf(errorNumber, &ErrorRow::fileCode);
}

extern "C" DWORD GetLastError() { return lastError; }

extern "C" void SetLastError(DWORD code) { lastError = code; }
