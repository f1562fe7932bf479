// Whether a terminal is attached, and how wide it is.
#pragma once

#include <cstddef>

/// True when standard error is a terminal, where a line can be overwritten.
bool platform_standardErrorIsTerminal();

/// Characters in a line of the terminal on standard error; 80 when it does not tell.
std::size_t platform_terminalColumns();

/// Characters in a line of the terminal on standard output; 80 when it does not tell, 0 when there is no terminal.
std::size_t platform_outputTerminalColumns();
