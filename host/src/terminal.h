// Whether people watch.
#pragma once

namespace host {

/// True when standard error is a terminal, where a line can be written over.
bool standardErrorIsTerminal();

}  // namespace host
