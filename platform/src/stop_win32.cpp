#include <atomic>

#include "platform.h"

namespace {

std::atomic<bool> stopRequestedFlag{false};

// Runs on a thread of its own. FALSE lets the default handler end the process: the second request.
BOOL WINAPI requestStop(DWORD) { return stopRequestedFlag.exchange(true) ? FALSE : TRUE; }

}  // namespace

void platform_installStopHandler() {
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have made this process ignore Ctrl-C
    SetConsoleCtrlHandler(requestStop, TRUE);
}

bool platform_stopRequested() { return stopRequestedFlag.load(std::memory_order_relaxed); }
