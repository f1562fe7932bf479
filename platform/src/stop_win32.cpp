#include "stop_win32.h"

#include <atomic>

namespace {

std::atomic<bool> stopRequestedFlag{false};

// Runs on a separate thread. FALSE lets the default handler end the process: the second request.
BOOL WINAPI requestStop(DWORD control) {
    if (stopRequestedFlag.exchange(true)) return FALSE;
    if (const HANDLE event = stopEvent()) SetEvent(event);
    // If a console is closed or a user logs off, the process ends when this returns, so it waits for the program to end
    // first.
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return TRUE;
}

}  // namespace

HANDLE stopEvent() {
    static const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    return event;
}

void platform_installStopHandler() {
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have made this process ignore Ctrl-C
    SetConsoleCtrlHandler(requestStop, TRUE);
}

void platform_openMissingStandardStreams() {}  // their handles are no numbers that another file could get

void platform_letBrokenPipesFail() {}  // as it is on this system anyway

bool platform_stopRequested() { return stopRequestedFlag.load(std::memory_order_relaxed); }
