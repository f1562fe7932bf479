#include <atomic>

#include <signal.h>

#include "platform.h"

namespace {

std::atomic<bool> stopRequestedFlag{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // it is stored in a signal handler

void requestStop(int signalNumber) {
    if (stopRequestedFlag.exchange(true)) {
        signal(signalNumber, SIG_DFL);  // the second request ends the process at once
        raise(signalNumber);
    }
}

}  // namespace

void platform_installStopHandler() {
    struct sigaction action {};
    action.sa_handler = requestStop;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    signal(SIGXFSZ, SIG_IGN);
}

void platform_letBrokenPipesFail() { signal(SIGPIPE, SIG_IGN); }

bool platform_stopRequested() { return stopRequestedFlag.load(std::memory_order_relaxed); }
