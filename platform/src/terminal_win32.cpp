#include <atomic>
#include <cstdlib>

#include "platform.h"
#include "terminal.h"

namespace {

std::atomic<UINT> formerCodePage{0};  // 0: the console has its own

bool isConsole(DWORD stream) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

bool takesUtf8(DWORD stream) { return !isConsole(stream) || GetConsoleOutputCP() == CP_UTF8; }

void restoreCodePage() {
    if (const UINT codePage = formerCodePage.exchange(0)) SetConsoleOutputCP(codePage);
}

// Runs when no other handler has taken the event: the process is about to end.
BOOL WINAPI restoreBeforeTheEnd(DWORD) {
    restoreCodePage();
    return FALSE;
}

std::size_t columnsOf(HANDLE console) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(console, &info)) return 80;
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    return columns > 0 ? static_cast<std::size_t>(columns) : 80;
}

}  // namespace

bool platform_standardErrorIsTerminal() { return isConsole(STD_ERROR_HANDLE); }

bool platform_standardOutputIsTerminal() { return isConsole(STD_OUTPUT_HANDLE); }

std::size_t platform_terminalColumns() { return columnsOf(GetStdHandle(STD_ERROR_HANDLE)); }

std::size_t platform_outputTerminalColumns() {
    return platform_standardOutputIsTerminal() ? columnsOf(GetStdHandle(STD_OUTPUT_HANDLE)) : 0;
}

void platform_beginUtf8Console() {
    if (!isConsole(STD_OUTPUT_HANDLE) && !isConsole(STD_ERROR_HANDLE)) return;
    const UINT codePage = GetConsoleOutputCP();
    if (codePage == 0 || codePage == CP_UTF8 || !SetConsoleOutputCP(CP_UTF8)) return;
    formerCodePage = codePage;
    std::atexit(restoreCodePage);
    SetConsoleCtrlHandler(restoreBeforeTheEnd, TRUE);
}

bool platform_standardOutputTakesUtf8() { return takesUtf8(STD_OUTPUT_HANDLE); }

bool platform_standardErrorTakesUtf8() { return takesUtf8(STD_ERROR_HANDLE); }
