// How calls of the Linux layer fail: set the thread's last error, give the failure value back.
#pragma once

#include "platform.h"

/// Windows' code for an errno value of the file and memory calls.
DWORD platform_errorOf(int errorNumber);

/// Sets the last error and gives `result` back, so that a failing call can return in one line.
template <typename Result>
Result platform_failWith(DWORD code, Result result) {
    SetLastError(code);
    return result;
}
