#include <algorithm>
#include <cerrno>
#include <cstdint>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "last_error_posix.h"
#include "platform.h"
#include "standard_output.h"

namespace {

constexpr std::size_t kMaxPiece = std::size_t{1} << 30;
constexpr int kLookMs = 100;         // how often a stop request is looked for
constexpr int kLooksAfterStop = 10;  // a reader that took nothing in that time will not

// A pipe gets a description of its own that never blocks. The flag must not be set on the one that was inherited: other
// programs have it, too.
int openWithoutWaiting() {
    struct stat file {};
    if (fstat(STDOUT_FILENO, &file) != 0 || !S_ISFIFO(file.st_mode)) return STDOUT_FILENO;
    const int own = highDescriptor(open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    return own >= 0 ? own : STDOUT_FILENO;
}

int standardOutput() {
    static const int descriptor = openWithoutWaiting();
    return descriptor;
}

// False when a stop was requested and there was no room for long.
bool waitForRoom(int descriptor) {
    for (int looks = 0; looks < kLooksAfterStop;) {
        pollfd room{descriptor, POLLOUT, 0};
        if (poll(&room, 1, kLookMs) != 0) return true;  // an error shows in the write
        if (platform_stopRequested()) ++looks;
    }
    return false;
}

}  // namespace

StandardOutputWrite platform_writeStandardOutput(const void* bytes, std::size_t size) {
    const auto* next = static_cast<const std::uint8_t*>(bytes);
    while (size > 0) {
        const ssize_t written = write(standardOutput(), next, std::min(size, kMaxPiece));
        if (written >= 0) {
            next += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!waitForRoom(standardOutput())) return StandardOutputWrite::stopped;
        } else if (errno == EPIPE || errno == ECONNRESET) {
            return StandardOutputWrite::readerGone;
        } else if (errno != EINTR) {
            SetLastError(platform_fileErrorOf(errno, ""));
            return StandardOutputWrite::failed;
        }
    }
    return StandardOutputWrite::done;
}

bool platform_standardOutputHasReader() {
    pollfd reader{STDOUT_FILENO, 0, 0};
    return poll(&reader, 1, 0) != 1 || (reader.revents & POLLERR) == 0;
}
