// Files by name: temporary ones, renaming, removing, looking.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "file_error_posix.h"
#include "last_error_posix.h"
#include "paths_posix.h"
#include "platform.h"

namespace {

constexpr UINT kTemporaryNumbers = 0xFFFF;

bool isFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Where to begin looking for a free number: elsewhere in each process and at each call, 1 to 65535.
UINT nextTemporaryNumber() {
    static std::atomic<UINT> last{static_cast<UINT>(getpid()) * 41};
    return ++last % kTemporaryNumbers + 1;
}

bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

}  // namespace

extern "C" UINT GetTempFileNameA(LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR fileName) try {
    if (unique != 0) return platform_failWith(ERROR_NOT_SUPPORTED, 0u);
    if (!folder || !isFolder(nativePath(folder))) return platform_failWith(ERROR_DIRECTORY, 0u);
    std::string stem = folder;
    if (stem.size() > MAX_PATH - 14) return platform_failWith(ERROR_BUFFER_OVERFLOW, 0u);
    if (stem.back() != '\\') stem += '\\';
    stem.append(prefix, strnlen(prefix, 3));

    for (UINT tried = 0; tried < kTemporaryNumbers; ++tried) {
        const UINT number = nextTemporaryNumber();
        std::snprintf(fileName, MAX_PATH, "%s%X.tmp", stem.c_str(), number);
        const std::string path = nativePath(fileName);
        const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            close(descriptor);
            return number;
        }
        if (errno != EEXIST) return platform_failWith(platform_fileErrorOf(errno, path), 0u);
    }
    return platform_failWith(ERROR_FILE_EXISTS, 0u);
} catch (const std::bad_alloc&) {
    return platform_failWith(ERROR_NOT_ENOUGH_MEMORY, 0u);
}

extern "C" BOOL MoveFileExA(LPCSTR from, LPCSTR to, DWORD flags) try {
    if (flags != MOVEFILE_REPLACE_EXISTING) return platform_failWith(ERROR_NOT_SUPPORTED, FALSE);
    const std::string source = nativePath(from);
    const std::string target = nativePath(to);
    if (!exists(source)) return platform_failWith(platform_fileErrorOf(ENOENT, source), FALSE);
    if (isFolder(source) && exists(target)) return platform_failWith(ERROR_ACCESS_DENIED, FALSE);
    if (rename(source.c_str(), target.c_str()) == 0) return TRUE;
    // What existed a moment ago: then it is the folder of the target that is missing.
    return platform_failWith(platform_fileErrorOf(errno, errno == ENOENT ? target : source), FALSE);
} catch (const std::bad_alloc&) {
    return platform_failWith(ERROR_NOT_ENOUGH_MEMORY, FALSE);
}

void platform_takePermissions(const char* replaced, const char* replacement) try {
    struct stat status {};
    if (stat(nativePath(replaced).c_str(), &status) == 0 && S_ISREG(status.st_mode))
        chmod(nativePath(replacement).c_str(), (status.st_mode & 0777) | S_IWUSR);
} catch (const std::bad_alloc&) {
    // Without memory the new file keeps its own.
}

extern "C" int _unlink(const char* fileName) try {
    const int result = unlink(nativePath(fileName).c_str());
    if (result != 0 && errno == EISDIR) errno = EACCES;
    return result;
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return -1;
}

extern "C" int _access(const char* fileName, int mode) try {
    const int wanted = (mode & 2 ? W_OK : 0) | (mode & 4 ? R_OK : 0);
    return access(nativePath(fileName).c_str(), wanted == 0 ? F_OK : wanted);
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return -1;
}

extern "C" int _stat64(const char* fileName, struct __stat64* status) try {
    struct stat native {};
    if (stat(nativePath(fileName).c_str(), &native) != 0) return -1;
    status->st_mode = static_cast<WORD>(native.st_mode);
    status->st_size = native.st_size;
    return 0;
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return -1;
}
