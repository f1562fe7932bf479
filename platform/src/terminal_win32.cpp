#include "platform.h"
#include "terminal.h"

bool host::standardErrorIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

std::size_t host::terminalColumns() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) return 80;
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    return columns > 0 ? static_cast<std::size_t>(columns) : 80;
}
