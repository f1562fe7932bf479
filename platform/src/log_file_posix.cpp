#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "log_file.h"

namespace {

using Clock = LogPatience::Clock;

int descriptorOf(void* handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }
void* handleOf(int descriptor) { return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)); }

int openDescriptor(const char* path, int flags) {
    return highDescriptor(::open(path, flags | O_CLOEXEC | O_NOCTTY, 0666));
}

// Opening never waits for a file, nor for a pipe without room or without a reader in its place.
int openToAppend(const char* path) { return openDescriptor(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK); }

// A write may send its own thread a signal that ends the program. This blocks and removes that signal, and leaves the
// program's settings unchanged.
class QuietSignals {
public:
    QuietSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGPIPE);
        sigaddset(&signals, SIGXFSZ);
        sigpending(&_before);
        pthread_sigmask(SIG_BLOCK, &signals, &_former);
    }
    ~QuietSignals() { pthread_sigmask(SIG_SETMASK, &_former, nullptr); }
    QuietSignals(const QuietSignals&) = delete;
    QuietSignals& operator=(const QuietSignals&) = delete;

    void takeSignalOf(int error) const {
        if (error == EPIPE) take(SIGPIPE);
        if (error == EFBIG) take(SIGXFSZ);
    }

private:
    void take(int signal) const {
        if (sigismember(&_before, signal) == 1) return;  // belongs to somebody else
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, signal);
        const timespec atOnce{};
        while (sigtimedwait(&one, nullptr, &atOnce) < 0 && errno == EINTR) {
        }
    }

    sigset_t _before;
    sigset_t _former;
};

// How the bytes are written without waiting.
enum class Way { plain, socket, ask };

// Closes itself unless the descriptor belongs to somebody else.
struct Outlet {
    Outlet(int used, Way how, bool own) : descriptor(used), way(how), isOwn(own) {}
    ~Outlet() {
        if (isOwn) ::close(descriptor);
    }
    Outlet(const Outlet&) = delete;
    Outlet& operator=(const Outlet&) = delete;

    const int descriptor;
    const Way way;
    const bool isOwn;
};

// Standard error belongs to the program, and so does its blocking mode. A pipe or terminal is therefore reopened for
// each line, which gives a description with its own flags. Keeping it would ignore a later redirection, and the pipe's
// reader would never see the end.
std::optional<Outlet> outletToStandardError() {
    struct stat status {};
    if (::fstat(STDERR_FILENO, &status) != 0) return std::nullopt;
    if (S_ISREG(status.st_mode)) return std::optional<Outlet>(std::in_place, STDERR_FILENO, Way::plain, false);
    if (S_ISSOCK(status.st_mode)) return std::optional<Outlet>(std::in_place, STDERR_FILENO, Way::socket, false);
    const int own = openDescriptor("/proc/self/fd/2", O_WRONLY | O_NONBLOCK);
    if (own >= 0) return std::optional<Outlet>(std::in_place, own, Way::plain, true);
    if (errno == ENXIO) return std::nullopt;  // nobody reads it any more
    return std::optional<Outlet>(std::in_place, STDERR_FILENO, Way::ask, false);
}

std::optional<Outlet> outletTo(int descriptor) {
    if (descriptor == STDERR_FILENO) return outletToStandardError();
    return std::optional<Outlet>(std::in_place, descriptor, Way::plain, false);
}

bool hasRoom(int descriptor, int timeoutMs) {
    pollfd asked{descriptor, POLLOUT, 0};
    return ::poll(&asked, 1, timeoutMs) > 0;
}

ssize_t writeOnce(const Outlet& outlet, const char* text, std::size_t length) {
    if (outlet.way == Way::plain) return ::write(outlet.descriptor, text, length);
    if (outlet.way == Way::socket) return ::send(outlet.descriptor, text, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    // A descriptor that reports room accepts that many bytes without waiting.
    if (hasRoom(outlet.descriptor, 0)) return ::write(outlet.descriptor, text, std::min<std::size_t>(length, PIPE_BUF));
    errno = EAGAIN;
    return -1;
}

bool awaitRoom(int descriptor, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 && (hasRoom(descriptor, static_cast<int>(left)) || errno == EINTR);
}

// Number of bytes written.
std::size_t writtenBytes(const Outlet& outlet, const char* text, std::size_t length, Clock::time_point deadline) {
    const QuietSignals quiet;
    std::size_t done = 0;
    while (done < length) {
        errno = 0;
        const ssize_t count = writeOnce(outlet, text + done, length - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
            continue;
        }
        if (errno == EINTR || (errno == EAGAIN && awaitRoom(outlet.descriptor, deadline))) continue;
        quiet.takeSignalOf(errno);
        break;
    }
    return done;
}

bool isSameFile(int descriptor, const char* path) {
    struct stat one {};
    struct stat other {};
    return ::fstat(descriptor, &one) == 0 && ::stat(path, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

// 0 if it is not a file.
std::uint64_t sizeOf(int descriptor) {
    struct stat status {};
    const bool isFile = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
}

}  // namespace

LogFile::LogFile() : _handle(handleOf(STDERR_FILENO)) {}

bool LogFile::open(const char* path, std::uint64_t maxBytes) {
    std::string name = path;
    std::replace(name.begin(), name.end(), '\\', '/');  // both separate folders, as everywhere in the system
    const int descriptor = openToAppend(name.c_str());
    if (descriptor < 0) return false;
    // The full name stays valid when the program changes its folder; for a link it is the name of the target.
    const std::unique_ptr<char, decltype(&std::free)> full(::realpath(name.c_str(), nullptr), &std::free);
    _path = full ? full.get() : name;
    _maxBytes = maxBytes;
    _handle = handleOf(descriptor);
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
    if (void* const next = successor(deadline)) moveOnTo(next);
    _overfull = isFull() && sizeOf(descriptorOf(_handle)) >= 2 * _maxBytes;
    if (_overfull) return 1;
    const std::optional<Outlet> outlet = outletTo(descriptorOf(_handle));
    if (!outlet || (_midLine && writtenBytes(*outlet, "\n", 1, deadline) == 0)) return 1;
    const std::size_t done = writtenBytes(*outlet, text, length, deadline);
    _midLine = done > 0 && done < length;
    return done == length ? 0 : 1;
}

bool LogFile::isFull() const { return _maxBytes > 0 && sizeOf(descriptorOf(_handle)) >= _maxBytes; }

// The file to write to from now on; null: the same as before, also when it is full and cannot be renamed. Files are
// compared only when ours is full: a file that another process has renamed is full as well.
void* LogFile::successor(Clock::time_point /*deadline*/) {
    if (!isFull() || (isSameFile(descriptorOf(_handle), _path.c_str()) && !putAside())) return nullptr;
    const int descriptor = openToAppend(_path.c_str());
    return descriptor < 0 ? nullptr : handleOf(descriptor);
}

// The lock prevents a second process from renaming the new file because it takes it for the full one. Nobody waits for
// the lock: its holder is renaming.
bool LogFile::putAside() {
    const int full = descriptorOf(_handle);
    if (::flock(full, LOCK_EX | LOCK_NB) != 0) return false;
    const bool done = !isSameFile(full, _path.c_str()) || ::rename(_path.c_str(), olderPath().c_str()) == 0;
    ::flock(full, LOCK_UN);  // not by closing it: a forked child may have it still
    return done;
}

void LogFile::moveOnTo(void* handle) {
    ::close(descriptorOf(_handle));
    _handle = handle;
    _midLine = false;
}

// The handlers are removed with this library, because pthread_atfork is linked into it.
void platform_runAroundForks(void (*before)(), void (*inParent)(), void (*inChild)()) {
    pthread_atfork(before, inParent, inChild);
}

void platform_keepLibraryLoaded() {}  // linked with -z nodelete
