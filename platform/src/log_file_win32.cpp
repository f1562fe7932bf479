#include "log_file.h"
#include "platform.h"

namespace {

using Clock = LogPatience::Clock;

// One byte far behind all text; its holder may append. Needed under Wine, which appends in two steps (find the end,
// then write). It also prevents two processes from renaming the same file.
constexpr DWORD kGuardOffsetHigh = 0x40000000;

OVERLAPPED guardPosition() {
    OVERLAPPED position{};
    position.OffsetHigh = kGuardOffsetHigh;
    return position;
}

DWORD millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<DWORD>(left) : 0;
}

class FileGuard {
public:
    explicit FileGuard(HANDLE file) : _file(file) {}
    ~FileGuard() { letGo(); }
    FileGuard(const FileGuard&) = delete;
    FileGuard& operator=(const FileGuard&) = delete;

    /// False: another process holds it and does not release it. A file that cannot be locked needs no guard.
    bool take(Clock::time_point deadline) {
        for (;;) {
            OVERLAPPED guard = guardPosition();
            _held = LockFileEx(_file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &guard) != 0;
            if (_held) return true;
            const DWORD error = GetLastError();
            if (error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING) return true;
            if (millisecondsUntil(deadline) == 0) return false;
            Sleep(1);
        }
    }

    void letGo() {
        OVERLAPPED guard = guardPosition();
        if (_held) UnlockFileEx(_file, 0, 1, 0, &guard);
        _held = false;
    }

private:
    HANDLE _file;
    bool _held = false;
};

DWORD writtenBytes(HANDLE file, const char* text, std::size_t length) {
    DWORD written = 0;
    WriteFile(file, text, static_cast<DWORD>(length), &written, nullptr);
    return written;
}

// While this object lives, writes to the pipe do not wait: they accept what fits and say how much.
class PipeThatDoesNotWait {
public:
    explicit PipeThatDoesNotWait(HANDLE pipe) : _pipe(pipe) {
        DWORD state = 0;
        _waits = GetNamedPipeHandleStateA(pipe, &state, nullptr, nullptr, nullptr, nullptr, 0) == 0 ||
                 (state & PIPE_NOWAIT) == 0;
        _set = !_waits || set(PIPE_NOWAIT);
    }
    ~PipeThatDoesNotWait() {
        if (_set && _waits) set(PIPE_WAIT);
    }
    PipeThatDoesNotWait(const PipeThatDoesNotWait&) = delete;
    PipeThatDoesNotWait& operator=(const PipeThatDoesNotWait&) = delete;

    /// False: some of it is lost.
    bool write(const char* text, std::size_t length, Clock::time_point deadline) {
        std::size_t done = 0;
        while (_set && done < length) {
            DWORD written = 0;
            if (!WriteFile(_pipe, text + done, static_cast<DWORD>(length - done), &written, nullptr)) return false;
            done += written;
            if (written == 0 && millisecondsUntil(deadline) == 0) return false;
            if (written == 0) Sleep(1);
        }
        return _set && done == length;
    }

private:
    bool set(DWORD wait) {
        DWORD state = PIPE_READMODE_BYTE | wait;
        return SetNamedPipeHandleState(_pipe, &state, nullptr, nullptr) != 0;
    }

    HANDLE _pipe;
    bool _waits = true;
    bool _set = false;
};

bool isConsoleHeld() {
    CONSOLE_SELECTION_INFO selection{};
    return GetConsoleSelectionInfo(&selection) && (selection.dwFlags & CONSOLE_SELECTION_IN_PROGRESS) != 0;
}

// Without a second thread, which a program that is ending no longer has. False: it is lost. A console stopped by Ctrl-S
// continues when the user presses any key.
bool writeWithoutThread(HANDLE file, const char* text, std::size_t length, Clock::time_point deadline) {
    if (GetFileType(file) == FILE_TYPE_PIPE) return PipeThatDoesNotWait(file).write(text, length, deadline);
    return !isConsoleHeld() && writtenBytes(file, text, length) == length;
}

// Writes on a separate thread to targets that may block a writer for ever: a pipe or a console. A line is handed over
// and waited for. There is one writer per process; only the system ends it, together with the program.
class WaitingWriter {
public:
    /// The writer; null when its thread cannot be started.
    static WaitingWriter* get() {
        static WaitingWriter* const writer = start();
        return writer;
    }

    /// Same as LogFile::write. A line that was handed over but not yet written counts as written.
    std::size_t write(HANDLE file, const char* text, std::size_t length, Clock::time_point deadline) {
        if (_underWay && !waitForIt(deadline)) return 1;
        const std::size_t lostBefore = takeLoss();
        if (hasEnded()) return lostBefore + (writeWithoutThread(file, text, length, deadline) ? 0 : 1);
        _file = file;
        _line.assign(text, length);
        _underWay = true;
        SetEvent(_wanted);
        waitForIt(deadline);
        return lostBefore + takeLoss();
    }

private:
    static WaitingWriter* start() {
        auto* const writer = new WaitingWriter;
        writer->_wanted = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        writer->_done = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        if (writer->_wanted && writer->_done)
            writer->_thread = CreateThread(nullptr, 0, writeForEver, writer, 0, nullptr);
        return writer->_thread ? writer : nullptr;  // the result is kept: there is no second try
    }

    static DWORD WINAPI writeForEver(void* self) {
        auto& writer = *static_cast<WaitingWriter*>(self);
        while (WaitForSingleObject(writer._wanted, INFINITE) == WAIT_OBJECT_0) {
            writer._complete =
                writtenBytes(writer._file, writer._line.data(), writer._line.size()) == writer._line.size();
            SetEvent(writer._done);
        }
        return 0;
    }

    // The system ends all other threads before static objects are destroyed and libraries are told to unload.
    bool hasEnded() const { return WaitForSingleObject(_thread, 0) == WAIT_OBJECT_0; }

    // False: still being written. What the thread was writing when it ended is lost.
    bool waitForIt(Clock::time_point deadline) {
        const HANDLE ends[] = {_done, _thread};
        const DWORD end = WaitForMultipleObjects(2, ends, FALSE, millisecondsUntil(deadline));
        if (end != WAIT_OBJECT_0 && end != WAIT_OBJECT_0 + 1) return false;
        if (end == WAIT_OBJECT_0 + 1) _complete = false;
        _underWay = false;
        _lost = !_complete;
        return true;
    }

    std::size_t takeLoss() {
        const bool lost = _lost;
        _lost = false;
        return lost ? 1 : 0;
    }

    HANDLE _wanted = nullptr;
    HANDLE _done = nullptr;
    HANDLE _thread = nullptr;
    bool _underWay = false;
    bool _lost = false;

    // Used by the thread, from one event to the other.
    HANDLE _file = nullptr;
    std::string _line;
    bool _complete = false;
};

bool isSameFile(HANDLE file, const char* path) {
    const HANDLE other = CreateFileA(path, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                     nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (other == INVALID_HANDLE_VALUE) return false;
    BY_HANDLE_FILE_INFORMATION a{};
    BY_HANDLE_FILE_INFORMATION b{};
    const bool known = GetFileInformationByHandle(file, &a) && GetFileInformationByHandle(other, &b);
    CloseHandle(other);
    return known && a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
           a.nFileIndexLow == b.nFileIndexLow;
}

std::uint64_t sizeOf(HANDLE file) {
    LARGE_INTEGER size{};
    return GetFileSizeEx(file, &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

HANDLE openToAppend(const char* path) {
    // With the right to append and no other, each write goes to the end of the file at that time.
    return CreateFileA(path, FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string fullPath(const char* path) {
    std::string full(GetFullPathNameA(path, 0, nullptr, nullptr), '\0');
    const DWORD length = GetFullPathNameA(path, static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size()) return path;
    full.resize(length);
    return full;
}

}  // namespace

LogFile::LogFile() : _handle(nullptr) {}

bool LogFile::open(const char* path, std::uint64_t maxBytes) {
    const HANDLE file = openToAppend(path);
    if (file == INVALID_HANDLE_VALUE) return false;
    _path = fullPath(path);  // found again also when the program changes its folder
    _maxBytes = maxBytes;
    _handle = file;
    return true;
}

std::size_t LogFile::write(const char* text, std::size_t length) {
    const Clock::time_point start = Clock::now();
    const Clock::time_point deadline = start + _patience.left(start);
    const std::size_t lost = writeUntil(text, length, deadline);
    _patience.spend(Clock::now() - start);
    return lost;
}

std::size_t LogFile::writeUntil(const char* text, std::size_t length, Clock::time_point deadline) {
    if (_path.empty()) _handle = GetStdHandle(STD_ERROR_HANDLE);  // each time: the program may put another in its place
    const DWORD type = GetFileType(_handle);
    if (type == FILE_TYPE_PIPE || type == FILE_TYPE_CHAR) {
        WaitingWriter* const writer = WaitingWriter::get();
        if (writer) return writer->write(_handle, text, length, deadline);
        return writeWithoutThread(_handle, text, length, deadline) ? 0 : 1;
    }
    if (void* const next = successor(deadline)) moveOnTo(next);
    FileGuard guard(_handle);
    if (!guard.take(deadline)) return 1;
    _overfull = isFull() && sizeOf(_handle) >= 2 * _maxBytes;
    if (_overfull || (_midLine && writtenBytes(_handle, "\n", 1) == 0)) return 1;
    const DWORD written = writtenBytes(_handle, text, length);
    _midLine = written > 0 && written < length;
    return written == length ? 0 : 1;
}

bool LogFile::isFull() const { return _maxBytes > 0 && sizeOf(_handle) >= _maxBytes; }

// The file to write to from now on; null: the same as before, also when it is full and cannot be renamed. Files are
// compared only when ours is full: a file that another process has renamed is full as well.
void* LogFile::successor(Clock::time_point deadline) {
    if (!isFull()) return nullptr;
    FileGuard guard(_handle);
    if (!guard.take(deadline) || (isSameFile(_handle, _path.c_str()) && !putAside())) return nullptr;
    const HANDLE file = openToAppend(_path.c_str());
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
}

bool LogFile::putAside() {
    if (MoveFileExA(_path.c_str(), olderPath().c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
    // A file that another process still has open can be removed, but not replaced.
    DeleteFileA(olderPath().c_str());
    return MoveFileExA(_path.c_str(), olderPath().c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

void LogFile::moveOnTo(void* handle) {
    CloseHandle(_handle);
    _handle = handle;
    _midLine = false;
}

void platform_runAroundForks(void (*)(), void (*)(), void (*)()) {}

void platform_keepLibraryLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(&platform_keepLibraryLoaded), &module);
}
