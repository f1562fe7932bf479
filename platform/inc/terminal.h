// Whether a terminal is attached, and how wide it is.
#pragma once

#include <cstddef>

/// True when standard error is a terminal, where a line can be overwritten.
bool platform_standardErrorIsTerminal();

/// True when standard output is a terminal: it shows text, not bytes.
bool platform_standardOutputIsTerminal();

/// Characters in a line of the terminal on standard error; 80 when it does not tell.
std::size_t platform_terminalColumns();

/// Characters in a line of the terminal on standard output; 80 when it does not tell, 0 when there is no terminal.
std::size_t platform_outputTerminalColumns();

/// Windows: from now on what is written to a console of this process is UTF-8. The console has its code page back when
/// the process ends, also by Ctrl-C. Elsewhere nothing. Programs only, once.
void platform_beginUtf8Console();

/// Whether standard output takes more than ASCII: a terminal or console that shows UTF-8, or a pipe or file, which
/// always get UTF-8.
bool platform_standardOutputTakesUtf8();
bool platform_standardErrorTakesUtf8();
