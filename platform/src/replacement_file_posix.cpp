#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "file_handle_posix.h"
#include "high_descriptor.h"
#include "last_error_posix.h"
#include "paths_posix.h"
#include "replacement_file.h"

namespace {

constexpr std::size_t kRandomBytes = 16;

// A name that nobody can guess; empty, with errno, when the system has no random bytes.
std::string unguessableName() {
    unsigned char bytes[kRandomBytes];
    for (std::size_t got = 0; got < sizeof bytes;) {
        const ssize_t count = getrandom(bytes + got, sizeof bytes - got, 0);
        if (count < 0 && errno != EINTR) return {};
        if (count > 0) got += static_cast<std::size_t>(count);
    }
    std::string name = ".dorven-";
    for (const unsigned char byte : bytes) name.append({"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]});
    return name + ".part";
}

bool areSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Whether a name belongs to an open file itself, not to a link to it.
bool isNameOf(int folder, const char* name, int file) {
    struct stat own {};
    struct stat found {};
    return fstat(file, &own) == 0 && fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) == 0 && areSame(own, found);
}

/// A name in the folder of a descriptor.
struct Name {
    int folder = -1;
    std::string name;
};

// Where an open file is now: the path that the system reports, otherwise the name under which it was created. Empty
// when it is at neither.
Name nameOf(int file, int folder, const std::string& made) {
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof path) {
        std::string name(path, static_cast<std::size_t>(length));
        if (isNameOf(AT_FDCWD, name.c_str(), file)) return {AT_FDCWD, std::move(name)};
    }
    if (isNameOf(folder, made.c_str(), file)) return {folder, made};
    return {folder, ""};
}

// Why the file in the place may not be replaced, or success. It is opened as a writer would open it.
DWORD errorOfPlace(int folder, const std::string& name) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || S_ISLNK(status.st_mode))
        return ERROR_SUCCESS;
    if (!S_ISREG(status.st_mode) || (status.st_mode & 0222) == 0) return ERROR_ACCESS_DENIED;
    const int flags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const Descriptor there(highDescriptor(openat(folder, name.c_str(), flags)));
    if (there.get() < 0) return errno == ENOENT || errno == ELOOP ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    if (flock(there.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return ERROR_SHARING_VIOLATION;
    return ERROR_SUCCESS;
}

void takePermissions(int folder, const std::string& name, int file) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode))
        fchmod(file, (status.st_mode & 0777) | S_IWUSR);
}

}  // namespace

ReplacementFile::~ReplacementFile() { close(); }

DWORD ReplacementFile::open(const std::string& place) {
    close();
    const std::string path = nativePath(place.c_str());
    const std::size_t separator = path.rfind('/');
    const std::string folder = separator == std::string::npos ? "." : path.substr(0, separator + 1);
    _place = separator == std::string::npos ? path : path.substr(separator + 1);
    if (_place.empty()) return ERROR_ACCESS_DENIED;
    _folder = highDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (_folder < 0) return errno == ENOTDIR ? ERROR_PATH_NOT_FOUND : platform_fileErrorOf(errno, path);
    _made = unguessableName();
    if (_made.empty()) return ERROR_IO_DEVICE;
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    Descriptor made(highDescriptor(openat(_folder, _made.c_str(), flags, mode_t{0666})));
    if (made.get() < 0) return platform_fileErrorOf(errno, path);
    flock(made.get(), LOCK_EX | LOCK_NB);  // for who opens it as a second writer, once it is in its place
    takePermissions(_folder, _place, made.get());
    _descriptor = made.get();
    _file = FileHandle_OfWriter(made);
    if (_file != INVALID_HANDLE_VALUE) return ERROR_SUCCESS;
    unlinkat(_folder, _made.c_str(), 0);
    return GetLastError();
}

DWORD ReplacementFile::takePlace() {
    if (const DWORD error = errorOfPlace(_folder, _place); error != ERROR_SUCCESS) return error;
    const Name name = nameOf(_descriptor, _folder, _made);
    if (name.name.empty()) return ERROR_ACCESS_DENIED;
    if (renameat(name.folder, name.name.c_str(), _folder, _place.c_str()) != 0) return platform_fileErrorOf(errno, "");
    _placed = isNameOf(_folder, _place.c_str(), _descriptor);
    return _placed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

DWORD ReplacementFile::admitReaders() { return _placed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE; }

void ReplacementFile::close() {
    if (_file != INVALID_HANDLE_VALUE) {
        const Name name = _placed ? Name{} : nameOf(_descriptor, _folder, _made);
        if (!name.name.empty()) unlinkat(name.folder, name.name.c_str(), 0);
        CloseHandle(_file);
    }
    if (_folder >= 0) ::close(_folder);
    _file = INVALID_HANDLE_VALUE;
    _folder = -1;
    _placed = false;
}
