// Files by name: temporary ones, renaming, removing, querying.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "last_error_posix.h"
#include "no_memory_posix.h"
#include "paths_posix.h"
#include "platform.h"
#include "temporary_files_posix.h"

namespace {

constexpr UINT kTemporaryNumbers = 0xFFFF;

bool isFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Where the search for a free number begins: different in each process and at each call, 1 to 65535.
UINT nextTemporaryNumber() {
    static constinit std::atomic<UINT> calls{0};
    return (static_cast<UINT>(getpid()) * 41 + ++calls) % kTemporaryNumbers + 1;
}

// nativePath without allocating; the empty name, which no file has, for a name that is too long.
struct ShortPath {
    explicit ShortPath(const char* path) {
        const std::size_t length = std::strlen(path);
        if (length < sizeof text) std::replace_copy(path, path + length + 1, text, '\\', '/');
    }
    char text[PATH_MAX] = "";
};

// A file whose owner may not write it, like the Windows attribute; applies to every user, also root.
bool isReadOnly(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && (status.st_mode & S_IWUSR) == 0;
}

bool areOneFile(const std::string& path, const std::string& other) {
    struct stat one {};
    struct stat two {};
    return lstat(path.c_str(), &one) == 0 && lstat(other.c_str(), &two) == 0 && one.st_dev == two.st_dev &&
           one.st_ino == two.st_ino;
}

bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

// Without memory the file is removed again.
void remember(const std::string& path, Descriptor& descriptor) {
    try {
        TemporaryFiles_Remember(path, descriptor);
    } catch (...) {
        unlink(path.c_str());
        throw;
    }
}

UINT makeTemporaryFile(LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR fileName) {
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
        Descriptor descriptor(highDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)));
        if (descriptor.get() >= 0) {
            remember(path, descriptor);
            return number;
        }
        if (errno != EEXIST) return platform_failWith(platform_fileErrorOf(errno, path), 0u);
    }
    return platform_failWith(ERROR_FILE_EXISTS, 0u);
}

BOOL moveFile(LPCSTR from, LPCSTR to, DWORD flags) {
    if (flags != MOVEFILE_REPLACE_EXISTING) return platform_failWith(ERROR_NOT_SUPPORTED, FALSE);
    const std::string source = withoutSeparatorBehind(nativePath(from));
    const std::string target = withoutSeparatorBehind(nativePath(to));
    if (!exists(source)) return platform_failWith(platform_fileErrorOf(ENOENT, source), FALSE);
    if (isFolder(source) && exists(target)) return platform_failWith(ERROR_ACCESS_DENIED, FALSE);
    if (!isFolder(source)) {
        if (endsWithSeparator(nativePath(from))) return platform_failWith(ERROR_INVALID_NAME, FALSE);
        if (endsWithSeparator(nativePath(to)) && !isFolder(target)) return platform_failWith(ERROR_DIRECTORY, FALSE);
    }
    if (isReadOnly(target) && !areOneFile(source, target)) return platform_failWith(ERROR_ACCESS_DENIED, FALSE);
    if (TemporaryFiles_IsReplaced(source.c_str())) return platform_failWith(ERROR_ACCESS_DENIED, FALSE);
    if (rename(source.c_str(), target.c_str()) == 0) {
        TemporaryFiles_Forget(source);
        return TRUE;
    }
    // The source existed a moment ago, so it is the folder of the target that is missing.
    return platform_failWith(platform_fileErrorOf(errno, errno == ENOENT ? target : source), FALSE);
}

}  // namespace

extern "C" UINT GetTempFileNameA(LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR fileName) {
    return platform_unlessOutOfMemory(0u, [=] { return makeTemporaryFile(folder, prefix, unique, fileName); });
}

extern "C" BOOL MoveFileExA(LPCSTR from, LPCSTR to, DWORD flags) {
    return platform_unlessOutOfMemory(FALSE, [=] { return moveFile(from, to, flags); });
}

// If memory runs out, nothing may be skipped here: what is written next may not be for everybody.
void platform_takePermissions(const char* replaced, const char* replacement) {
    struct stat status {};
    if (stat(ShortPath(replaced).text, &status) != 0 || !S_ISREG(status.st_mode)) return;
    const mode_t mode = (status.st_mode & 0777) | S_IWUSR;
    const ShortPath path(replacement);
    const int made = TemporaryFiles_Find(path.text);
    if (made >= 0)
        fchmod(made, mode);
    else
        chmod(path.text, mode);
}

extern "C" int _unlink(const char* fileName) {
    return platform_unlessOutOfMemory(-1, [=] {
        const std::string path = nativePath(fileName);
        if (TemporaryFiles_IsReplaced(path.c_str())) {
            TemporaryFiles_Forget(path);
            errno = EACCES;
            return -1;
        }
        const int result = unlink(path.c_str());
        if (result == 0) TemporaryFiles_Forget(path);
        if (result != 0 && errno == EISDIR) errno = EACCES;
        if (result != 0 && errno == ENOTDIR) errno = endsWithSeparator(path) ? EINVAL : ENOENT;
        return result;
    });
}

extern "C" int _access(const char* fileName, int mode) {
    const int wanted = (mode & 2 ? W_OK : 0) | (mode & 4 ? R_OK : 0);
    return platform_unlessOutOfMemory(-1, [=] {
        const int result = access(nativePath(fileName).c_str(), wanted == 0 ? F_OK : wanted);
        if (result != 0 && errno == ENOTDIR) errno = ENOENT;
        return result;
    });
}

extern "C" int _stat64(const char* fileName, struct __stat64* status) {
    struct stat native {};
    const int result = platform_unlessOutOfMemory(-1, [&] {
        const std::string path = nativePath(fileName);
        const bool isNoFile = endsWithSeparator(path);
        const int found = isNoFile ? -1 : stat(path.c_str(), &native);
        if (isNoFile || (found != 0 && errno == ENOTDIR)) errno = ENOENT;
        return found;
    });
    if (result != 0) return -1;
    status->st_mode = static_cast<WORD>(native.st_mode);
    status->st_size = native.st_size;
    return 0;
}
