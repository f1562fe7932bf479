// Whether a terminal is attached, and how wide it is.
#pragma once

#include <cstddef>

/// True when standard error is a terminal, where a line can be overwritten.
bool platform_standardErrorIsTerminal();

/// Columns of the terminal on standard error; 80 when unknown.
std::size_t platform_terminalColumns();
