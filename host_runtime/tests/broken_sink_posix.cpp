#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "broken_sink.h"

namespace {

int descriptorOf(void* handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }
void* handleOf(int descriptor) { return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)); }

std::string readWhatIsThere(int descriptor) {
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    std::string text;
    char part[4096];
    for (ssize_t count = 0; (count = ::read(descriptor, part, sizeof part)) > 0;)
        text.append(part, static_cast<std::size_t>(count));
    return text;
}

}  // namespace

StandardErrorPipe::StandardErrorPipe() {
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[1], STDERR_FILENO) < 0 || ::close(ends[1]) != 0)
        throw std::runtime_error("no pipe");
    _reader = handleOf(ends[0]);
}

std::string StandardErrorPipe::read() { return readWhatIsThere(descriptorOf(_reader)); }

void StandardErrorPipe::closeReader() {
    if (_open) ::close(descriptorOf(_reader));
    _open = false;
}

PipeForChild::PipeForChild() {
    char folder[] = "/tmp/pipe_for_child_XXXXXX";
    if (!::mkdtemp(folder)) throw std::runtime_error("no folder");
    _name = std::string(folder) + "/pipe";
    if (::mkfifo(_name.c_str(), 0600) != 0) throw std::runtime_error("no pipe");
    _reader = handleOf(::open(_name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

PipeForChild::~PipeForChild() {
    ::close(descriptorOf(_reader));
    ::unlink(_name.c_str());
    ::rmdir(_name.substr(0, _name.rfind('/')).c_str());
}

std::string PipeForChild::read() { return readWhatIsThere(descriptorOf(_reader)); }

void standardErrorBecomes(const std::string& name) {
    const int writer = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (writer < 0 || ::dup2(writer, STDERR_FILENO) < 0) throw std::runtime_error("cannot open " + name);
    ::close(writer);
}

StoppedWriter::StoppedWriter(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0 || ::flock(file, LOCK_EX | LOCK_NB) != 0) throw std::runtime_error("no lock");
    _file = handleOf(file);
}

void StoppedWriter::goOn() {
    if (_stopped) ::close(descriptorOf(_file));
    _stopped = false;
}
