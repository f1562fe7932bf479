// How calls of the Linux layer fail: the Windows code for an errno value, the thread's last error, the failure value.
#pragma once

#include <string>

#include "platform.h"

/// Windows' code for an errno value of the calls for named objects and memory.
DWORD platform_errorOf(int errorNumber);

/// The code for an errno value that a file call reported for that path. Distinguishes a missing file (2) from a missing
/// folder (3).
DWORD platform_fileErrorOf(int errorNumber, const std::string& nativePath);

/// Sets the last error and returns `result`, so that a failing call can return in one line.
template <typename Result>
Result platform_failWith(DWORD code, Result result) {
    SetLastError(code);
    return result;
}
