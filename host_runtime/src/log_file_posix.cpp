#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "log_file.h"

namespace {

int descriptorOf(void* handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }
void* handleOf(int descriptor) { return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)); }

}  // namespace

LogFile::LogFile() : _handle(handleOf(STDERR_FILENO)) {}

bool LogFile::open(const char* path) {
    std::string name = path;
    std::replace(name.begin(), name.end(), '\\', '/');  // both separate folders, as everywhere in the system
    const int descriptor =
        highDescriptor(::open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666));
    if (descriptor < 0) return false;
    _handle = handleOf(descriptor);
    return true;
}

void LogFile::write(const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(descriptorOf(_handle), text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text += written;
        length -= static_cast<std::size_t>(written);
    }
}

void keepLogLibraryLoaded() {}  // linked with -z nodelete
