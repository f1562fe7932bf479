#include "platform.h"
#include "terminal.h"

bool platform_standardErrorIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

namespace {

std::size_t columnsOf(HANDLE console) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(console, &info)) return 80;
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    return columns > 0 ? static_cast<std::size_t>(columns) : 80;
}

}  // namespace

std::size_t platform_terminalColumns() { return columnsOf(GetStdHandle(STD_ERROR_HANDLE)); }

std::size_t platform_outputTerminalColumns() {
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 ? columnsOf(console) : 0;
}
