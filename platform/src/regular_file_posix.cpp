#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "paths_posix.h"
#include "regular_file.h"

RegularFile::~RegularFile() {
    if (_file >= 0) close(static_cast<int>(_file));
}

bool RegularFile::open(const std::string& path, std::string& error) {
    // Without O_NONBLOCK, open would wait for a pipe; on a regular file it changes nothing.
    _file = highDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (_file < 0 || fstat(static_cast<int>(_file), &status) != 0) {
        error = path + ": cannot be opened for reading";
    } else if (S_ISDIR(status.st_mode)) {
        error = path + ": is a folder";
    } else if (!S_ISREG(status.st_mode)) {
        error = path + ": is no regular file";
    } else {
        _stamp.bytes = static_cast<std::uint64_t>(status.st_size);
        _stamp.written = std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
        return true;
    }
    return false;
}

std::ptrdiff_t RegularFile::read(void* buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(static_cast<int>(_file), static_cast<char*>(buffer) + done, size - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return static_cast<std::ptrdiff_t>(done);
}

FileLook platform_lookAtFile(const char* name) {
    struct stat status {};
    if (stat(nativePath(name).c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return {};
    if (!S_ISREG(status.st_mode)) return {false, true, 0};
    return {true, false, static_cast<std::uint64_t>(status.st_size)};
}
