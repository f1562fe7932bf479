// Error log library: errors, always recorded. A host installation has its own; this one replaces it.
// An entry is written in two steps: its location, then its text, with no other entry of this thread in between.
#pragma once

#include "host_runtime_export.h"

extern "C" {

/// Sets the location of this thread's next entry, for one entry. The first argument is always 0.
ERRORLOG_API void _MErrLog_Location(int reserved, const char* file, int line);

/// Writes the entry, formatted like platform_vformat, of any length. Without a location: file "", line 0.
ERRORLOG_API void _MErrLog_Add(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

}  // extern "C"
