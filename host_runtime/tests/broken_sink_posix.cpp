#include <cstdint>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "broken_sink.h"

namespace {

int descriptorOf(void* handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }

}  // namespace

StandardErrorPipe::StandardErrorPipe() {
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[1], STDERR_FILENO) < 0 || ::close(ends[1]) != 0)
        throw std::runtime_error("no pipe");
    _reader = reinterpret_cast<void*>(static_cast<std::intptr_t>(ends[0]));
}

std::string StandardErrorPipe::read() {
    ::fcntl(descriptorOf(_reader), F_SETFL, O_NONBLOCK);
    std::string text;
    char part[4096];
    for (ssize_t count = 0; (count = ::read(descriptorOf(_reader), part, sizeof part)) > 0;)
        text.append(part, static_cast<std::size_t>(count));
    return text;
}

void StandardErrorPipe::closeReader() {
    if (_open) ::close(descriptorOf(_reader));
    _open = false;
}

StoppedWriter::StoppedWriter(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0 || ::flock(file, LOCK_EX | LOCK_NB) != 0) throw std::runtime_error("no lock");
    _file = reinterpret_cast<void*>(static_cast<std::intptr_t>(file));
}

void StoppedWriter::goOn() {
    if (_stopped) ::close(descriptorOf(_file));
    _stopped = false;
}
