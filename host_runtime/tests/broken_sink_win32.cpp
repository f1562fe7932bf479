#include <stdexcept>

#include "broken_sink.h"
#include "platform.h"

StandardErrorPipe::StandardErrorPipe() {
    HANDLE writer = nullptr;
    if (!CreatePipe(&_reader, &writer, nullptr, 4096) || !SetStdHandle(STD_ERROR_HANDLE, writer))
        throw std::runtime_error("no pipe");
}

std::string StandardErrorPipe::read() {
    std::string text;
    DWORD waiting = 0;
    while (PeekNamedPipe(_reader, nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0) {
        std::string part(waiting, '\0');
        DWORD count = 0;
        if (!ReadFile(_reader, part.data(), waiting, &count, nullptr) || count == 0) break;
        text.append(part, 0, count);
    }
    return text;
}

void StandardErrorPipe::closeReader() {
    if (_open) CloseHandle(_reader);
    _open = false;
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
