// How calls of the Linux layer fail: Windows' code for an errno value, the thread's last error, the failure value.
#pragma once

#include <string>

#include "platform.h"

/// Windows' code for an errno value of the calls for named objects and memory.
DWORD platform_errorOf(int errorNumber);

/// The code for an errno value that a call for files met on that path. Knows a missing file (2) from a missing folder
/// (3).
DWORD platform_fileErrorOf(int errorNumber, const std::string& nativePath);

/// Sets the last error and gives `result` back, so that a failing call can return in one line.
template <typename Result>
Result platform_failWith(DWORD code, Result result) {
    SetLastError(code);
    return result;
}
