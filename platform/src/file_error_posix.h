// Windows' codes for what goes wrong with files.
#pragma once

#include <string>

#include "platform.h"

/// The code for an errno value that a call met on that path. Knows a missing file (2) from a missing folder (3).
DWORD platform_fileErrorOf(int errorNumber, const std::string& nativePath);
