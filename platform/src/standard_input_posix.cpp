#include <algorithm>
#include <cerrno>
#include <limits>

#include <poll.h>
#include <unistd.h>

#include "platform.h"
#include "standard_input.h"

namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;

// What poll takes: rounded up, so that it does not end before the time.
int millisecondsUntil(std::int64_t untilNs) {
    const std::int64_t leftNs = std::max<std::int64_t>(untilNs - platform_monotonicNanoseconds(), 0);
    return static_cast<int>(std::min<std::int64_t>((leftNs + kNsPerMs - 1) / kNsPerMs, 60'000));
}

bool isPassing(int problem) { return problem == EINTR || problem == EAGAIN || problem == EWOULDBLOCK; }

}  // namespace

std::ptrdiff_t platform_readStandardInput(void* buffer, std::size_t size, std::int64_t untilNs) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&input, 1, millisecondsUntil(untilNs));
    if (ready == 0) return -1;
    if (ready < 0) return isPassing(errno) ? -1 : 0;
    const std::size_t most = std::numeric_limits<int>::max();
    const ssize_t count = read(STDIN_FILENO, buffer, std::min(size, most));
    if (count >= 0) return count;
    return isPassing(errno) ? -1 : 0;
}

bool platform_standardInputIsTerminal() { return isatty(STDIN_FILENO) != 0; }
