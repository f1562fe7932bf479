#include <cstdlib>

#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "terminal.h"

namespace {

// The first of them that is set counts, as for every program of the system.
constexpr const char* kLocaleVariables[] = {"LC_ALL", "LC_CTYPE", "LANG"};

bool localeIsUtf8() {
    for (const char* const variable : kLocaleVariables) {
        const char* const locale = std::getenv(variable);
        if (!locale || *locale == '\0') continue;
        for (const char* at = locale; *at != '\0'; ++at)
            if (strncasecmp(at, "utf-8", 5) == 0 || strncasecmp(at, "utf8", 4) == 0) return true;
        return false;
    }
    return false;
}

bool takesUtf8(int stream) { return isatty(stream) == 0 || localeIsUtf8(); }

std::size_t columnsOf(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

bool platform_standardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

bool platform_standardOutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

std::size_t platform_terminalColumns() { return columnsOf(STDERR_FILENO); }

std::size_t platform_outputTerminalColumns() {
    return platform_standardOutputIsTerminal() ? columnsOf(STDOUT_FILENO) : 0;
}

void platform_beginUtf8Console() {}  // a terminal has the encoding that its user chose

bool platform_standardOutputTakesUtf8() { return takesUtf8(STDOUT_FILENO); }

bool platform_standardErrorTakesUtf8() { return takesUtf8(STDERR_FILENO); }
