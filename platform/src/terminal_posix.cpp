#include <sys/ioctl.h>
#include <unistd.h>

#include "terminal.h"

bool host::standardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

std::size_t host::terminalColumns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}
