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

// A closed terminal sends it twice, once from its shell and once from the system: together they are one request.
void hangUp(int) { stopRequestedFlag = true; }

void handle(int signalNumber, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
}

bool isIgnored(int signalNumber) {
    struct sigaction action {};
    return sigaction(signalNumber, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void platform_installStopHandler() {
    handle(SIGINT, requestStop);
    handle(SIGTERM, requestStop);
    if (!isIgnored(SIGHUP)) handle(SIGHUP, hangUp);  // as nohup starts a program that is to outlive its terminal
    signal(SIGXFSZ, SIG_IGN);
}

void platform_letBrokenPipesFail() { signal(SIGPIPE, SIG_IGN); }

bool platform_stopRequested() { return stopRequestedFlag.load(std::memory_order_relaxed); }
