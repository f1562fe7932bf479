#include <unistd.h>

#include "terminal.h"

bool host::standardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }
