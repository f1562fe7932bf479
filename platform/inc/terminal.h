// Whether people watch, and what they can see.
#pragma once

#include <cstddef>

namespace host {

/// True when standard error is a terminal, where a line can be written over.
bool standardErrorIsTerminal();

/// Characters in a line of the terminal on standard error; 80 when it does not tell.
std::size_t terminalColumns();

}  // namespace host
