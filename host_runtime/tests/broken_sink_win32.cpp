#include <stdexcept>

#include "broken_sink.h"
#include "child_process.h"
#include "platform.h"

namespace {

std::string readWhatIsThere(HANDLE reader) {
    std::string text;
    DWORD waiting = 0;
    while (PeekNamedPipe(reader, nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0) {
        std::string part(waiting, '\0');
        DWORD count = 0;
        if (!ReadFile(reader, part.data(), waiting, &count, nullptr) || count == 0) break;
        text.append(part, 0, count);
    }
    return text;
}

}  // namespace

StandardErrorPipe::StandardErrorPipe() {
    HANDLE writer = nullptr;
    if (!CreatePipe(&_reader, &writer, nullptr, 4096) || !SetStdHandle(STD_ERROR_HANDLE, writer))
        throw std::runtime_error("no pipe");
}

std::string StandardErrorPipe::read() { return readWhatIsThere(_reader); }

void StandardErrorPipe::closeReader() {
    if (_open) CloseHandle(_reader);
    _open = false;
}

PipeForChild::PipeForChild() : _name("\\\\.\\pipe\\" + test::uniqueName("for_child")) {
    _reader = CreateNamedPipeA(_name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 0, 65536, 0, nullptr);
    if (_reader == INVALID_HANDLE_VALUE) throw std::runtime_error("no pipe");
}

PipeForChild::~PipeForChild() { CloseHandle(_reader); }

std::string PipeForChild::read() { return readWhatIsThere(_reader); }

void standardErrorBecomes(const std::string& name) {
    const bool isPipe = name.rfind("\\\\.\\pipe\\", 0) == 0;
    const HANDLE writer = CreateFileA(name.c_str(), isPipe ? GENERIC_WRITE : FILE_APPEND_DATA | SYNCHRONIZE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (writer == INVALID_HANDLE_VALUE || !SetStdHandle(STD_ERROR_HANDLE, writer))
        throw std::runtime_error("cannot open " + name);
}

StoppedWriter::StoppedWriter(const std::string& path) {
    _file = CreateFileA(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
    OVERLAPPED guard{};
    guard.OffsetHigh = 0x40000000;
    if (_file == INVALID_HANDLE_VALUE ||
        !LockFileEx(_file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &guard))
        throw std::runtime_error("no lock");
}

void StoppedWriter::goOn() {
    if (_stopped) CloseHandle(_file);
    _stopped = false;
}
