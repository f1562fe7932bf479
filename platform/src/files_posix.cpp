#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "handle_table_posix.h"
#include "last_error_posix.h"
#include "paths_posix.h"

namespace {

class FileObject : public KernelObject {
public:
    explicit FileObject(int descriptor) : _descriptor(descriptor) {}
    ~FileObject() override { close(_descriptor); }
    int descriptor() const { return _descriptor; }

private:
    int _descriptor;
};

bool isFolder(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

extern "C" HANDLE CreateFileA(LPCSTR fileName, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD creation, DWORD,
                              HANDLE) {
    if (access != GENERIC_READ || creation != OPEN_EXISTING)
        return platform_failWith(ERROR_NOT_SUPPORTED, INVALID_HANDLE_VALUE);
    if (!fileName) return platform_failWith(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
    const int descriptor = open(nativePath(fileName).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return platform_failWith(platform_errorOf(errno), INVALID_HANDLE_VALUE);
    if (isFolder(descriptor)) {
        close(descriptor);
        return platform_failWith(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    }
    const HANDLE handle = HandleTable_Open(std::make_shared<FileObject>(descriptor));
    return handle ? handle : INVALID_HANDLE_VALUE;
}

extern "C" BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
    if (overlapped) return platform_failWith(ERROR_NOT_SUPPORTED, FALSE);
    *bytesRead = 0;
    const auto object = HandleTable_FindAs<FileObject>(file);
    if (!object) return FALSE;
    auto* const target = static_cast<char*>(buffer);
    // As on Windows a short result means the end of the file, so a read that is cut short goes on.
    while (*bytesRead < size) {
        const ssize_t count = read(object->descriptor(), target + *bytesRead, size - *bytesRead);
        if (count == 0) break;
        if (count > 0)
            *bytesRead += static_cast<DWORD>(count);
        else if (errno != EINTR)
            return platform_failWith(platform_errorOf(errno), FALSE);
    }
    return TRUE;
}

extern "C" int _access(const char* fileName, int mode) {
    const int wanted = (mode & 2 ? W_OK : 0) | (mode & 4 ? R_OK : 0);
    return access(nativePath(fileName).c_str(), wanted == 0 ? F_OK : wanted);
}
