#include <sys/ioctl.h>
#include <unistd.h>

#include "terminal.h"

bool platform_standardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

namespace {

std::size_t columnsOf(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

std::size_t platform_terminalColumns() { return columnsOf(STDERR_FILENO); }

std::size_t platform_outputTerminalColumns() { return isatty(STDOUT_FILENO) != 0 ? columnsOf(STDOUT_FILENO) : 0; }
