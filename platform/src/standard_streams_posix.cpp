#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "high_descriptor.h"
#include "platform.h"

namespace {

constexpr int kFirstBehindStandardStreams = 3;

}  // namespace

int highDescriptor(int opened) {
    if (opened < 0 || opened >= kFirstBehindStandardStreams) return opened;
    // Locks belong to the open file, not to its number, so they would survive the move.
    const int moved = fcntl(opened, F_DUPFD_CLOEXEC, kFirstBehindStandardStreams);
    const int error = errno;
    close(opened);
    errno = error;
    return moved;
}

void platform_openMissingStandardStreams() {
    int opened = 0;
    while (opened >= 0 && opened < kFirstBehindStandardStreams) opened = open("/dev/null", O_RDWR | O_NOCTTY);
    if (opened >= 0) close(opened);
}
