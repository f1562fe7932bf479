#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "file_handle_posix.h"
#include "handle_table_posix.h"
#include "high_descriptor.h"
#include "last_error_posix.h"
#include "no_memory_posix.h"
#include "paths_posix.h"
#include "temporary_files_posix.h"

namespace {

class FileObject : public KernelObject {
public:
    FileObject(int descriptor, bool writable) : _descriptor(descriptor), _writable(writable) {}
    ~FileObject() override {
        // A forked child has the descriptor too, and would keep the lock. When the child closes it, the parent keeps
        // its lock.
        if (_writable && getpid() == _opener) flock(_descriptor, LOCK_UN);
        close(_descriptor);
    }
    int descriptor() const { return _descriptor; }
    bool writable() const { return _writable; }

private:
    int _descriptor;
    bool _writable;
    pid_t _opener = getpid();
};

bool isFolder(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

// Takes over the descriptor, and closes it when no handle is left.
HANDLE handleOf(Descriptor& descriptor, bool writable) {
    auto file = std::make_shared<FileObject>(descriptor.get(), writable);
    descriptor.release();
    const HANDLE handle = HandleTable_Open(std::move(file));
    return handle ? handle : INVALID_HANDLE_VALUE;
}

HANDLE failWith(DWORD error) { return platform_failWith(error, INVALID_HANDLE_VALUE); }

int openFile(const std::string& path, int flags) { return highDescriptor(open(path.c_str(), flags, 0666)); }

HANDLE openForReading(const std::string& path) {
    Descriptor descriptor(openFile(path, O_RDONLY | O_CLOEXEC));
    if (descriptor.get() < 0) return failWith(platform_fileErrorOf(errno, path));
    if (isFolder(descriptor.get())) return failWith(ERROR_ACCESS_DENIED);
    return handleOf(descriptor, false);
}

// Empties an open file unless it is empty. Opening does not empty it, so that a file that another writer has open keeps
// its content.
bool empty(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return false;
    return !S_ISREG(status.st_mode) || status.st_size == 0 || ftruncate(descriptor, 0) == 0;
}

// Why a name that ends with a separator cannot be opened: whatever has it is no file.
DWORD errorOfFolderName(const std::string& path, DWORD creation) {
    const std::string name = withoutSeparatorBehind(path);
    struct stat status {};
    if (stat(name.c_str(), &status) == 0) {
        if (creation == CREATE_NEW) return ERROR_FILE_EXISTS;
        return S_ISDIR(status.st_mode) ? ERROR_ACCESS_DENIED : ERROR_INVALID_NAME;
    }
    const DWORD error = platform_fileErrorOf(errno, name);
    return error == ERROR_FILE_NOT_FOUND && creation != OPEN_EXISTING ? ERROR_INVALID_NAME : error;
}

// Opens an existing file, or creates it if the creation mode allows that.
int openOrMake(const std::string& path, DWORD creation, int flags, bool& existed) {
    const int found = creation == CREATE_NEW ? -1 : openFile(path, flags);
    existed = found >= 0;
    if (creation == CREATE_NEW) return openFile(path, flags | O_CREAT | O_EXCL);
    return existed || errno != ENOENT ? found : openFile(path, flags | O_CREAT);
}

// Opens a temporary file of this process a second time: exactly the file that was created, not the target of a link.
int openTemporary(const std::string& path, int flags, int made) {
    Descriptor descriptor(openFile(path, flags | O_NOFOLLOW));
    if (descriptor.get() < 0 && errno == ELOOP) errno = EACCES;
    if (descriptor.get() < 0 || TemporaryFiles_AreSame(descriptor.get(), made)) return descriptor.release();
    errno = EACCES;
    return -1;
}

HANDLE openForWriting(const std::string& path, DWORD creation, int flags) {
    bool existed = true;
    const int made = creation == CREATE_ALWAYS ? TemporaryFiles_Find(path) : -1;
    Descriptor descriptor(made < 0 ? openOrMake(path, creation, flags, existed) : openTemporary(path, flags, made));
    if (descriptor.get() < 0) return failWith(platform_fileErrorOf(errno, path));
    // A file system without locks lets everybody open the file, as programs outside this layer can do anyway.
    if (flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return failWith(ERROR_SHARING_VIOLATION);
    if (creation == CREATE_ALWAYS && !empty(descriptor.get())) return failWith(platform_fileErrorOf(errno, path));
    const HANDLE handle = handleOf(descriptor, true);
    if (handle != INVALID_HANDLE_VALUE) SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

HANDLE openFile(LPCSTR fileName, DWORD access, DWORD creation, DWORD flags) {
    if (!fileName) return failWith(ERROR_PATH_NOT_FOUND);
    const std::string path = nativePath(fileName);
    if (endsWithSeparator(path)) return failWith(errorOfFolderName(path, creation));
    if (access == GENERIC_READ && creation == OPEN_EXISTING) return openForReading(path);

    const int writing = O_WRONLY | O_CLOEXEC | (flags & FILE_FLAG_WRITE_THROUGH ? O_DSYNC : 0);
    if (access == FILE_WRITE_DATA && (creation == CREATE_NEW || creation == CREATE_ALWAYS))
        return openForWriting(path, creation, writing);
    if (access == FILE_APPEND_DATA && creation == OPEN_ALWAYS)
        return openForWriting(path, creation, writing | O_APPEND);
    return failWith(ERROR_NOT_SUPPORTED);
}

std::shared_ptr<FileObject> fileFor(HANDLE handle, bool writing) {
    auto file = HandleTable_FindAs<FileObject>(handle);
    if (file && file->writable() != writing) return platform_failWith(ERROR_ACCESS_DENIED, nullptr);
    return file;
}

}  // namespace

HANDLE FileHandle_OfWriter(Descriptor& descriptor) {
    return platform_unlessOutOfMemory(INVALID_HANDLE_VALUE, [&] { return handleOf(descriptor, true); });
}

extern "C" HANDLE CreateFileA(LPCSTR fileName, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD creation, DWORD flags,
                              HANDLE) {
    return platform_unlessOutOfMemory(INVALID_HANDLE_VALUE,
                                      [=] { return openFile(fileName, access, creation, flags); });
}

extern "C" BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
    if (overlapped) return platform_failWith(ERROR_NOT_SUPPORTED, FALSE);
    *bytesRead = 0;
    const auto object = fileFor(file, false);
    if (!object) return FALSE;
    auto* const target = static_cast<char*>(buffer);
    // As on Windows a short result means the end of the file, so an interrupted read continues.
    while (*bytesRead < size) {
        const ssize_t count = read(object->descriptor(), target + *bytesRead, size - *bytesRead);
        if (count == 0) break;
        if (count > 0)
            *bytesRead += static_cast<DWORD>(count);
        else if (errno != EINTR)
            return platform_failWith(platform_fileErrorOf(errno, ""), FALSE);
    }
    return TRUE;
}

extern "C" BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped) {
    if (overlapped) return platform_failWith(ERROR_NOT_SUPPORTED, FALSE);
    *bytesWritten = 0;
    const auto object = fileFor(file, true);
    if (!object) return FALSE;
    const auto* const source = static_cast<const char*>(buffer);
    while (*bytesWritten < size) {
        const ssize_t count = write(object->descriptor(), source + *bytesWritten, size - *bytesWritten);
        if (count >= 0)
            *bytesWritten += static_cast<DWORD>(count);
        else if (errno != EINTR)
            return platform_failWith(platform_fileErrorOf(errno, ""), FALSE);
    }
    return TRUE;
}

extern "C" BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method) {
    if (position || method != FILE_BEGIN) return platform_failWith(ERROR_NOT_SUPPORTED, FALSE);
    const auto object = HandleTable_FindAs<FileObject>(file);
    if (!object) return FALSE;
    if (distance.QuadPart < 0) return platform_failWith(ERROR_NEGATIVE_SEEK, FALSE);
    return lseek(object->descriptor(), distance.QuadPart, SEEK_SET) >= 0
               ? TRUE
               : platform_failWith(platform_fileErrorOf(errno, ""), FALSE);
}

extern "C" BOOL SetEndOfFile(HANDLE file) {
    const auto object = fileFor(file, true);
    if (!object) return FALSE;
    const off_t position = lseek(object->descriptor(), 0, SEEK_CUR);
    return position >= 0 && ftruncate(object->descriptor(), position) == 0
               ? TRUE
               : platform_failWith(platform_fileErrorOf(errno, ""), FALSE);
}

extern "C" BOOL FlushFileBuffers(HANDLE file) {
    const auto object = fileFor(file, true);
    if (!object) return FALSE;
    return fdatasync(object->descriptor()) == 0 ? TRUE : platform_failWith(platform_fileErrorOf(errno, ""), FALSE);
}
