// Error log library: errors, always recorded. A host installation brings its own; this one stands in for it.
// An entry is written in two steps: its location, then its text; no other entry of this thread comes between.
#pragma once

#include "host_runtime_export.h"

extern "C" {

/// Says where the next entry of this thread comes from; serves one entry. The first argument is always 0.
ERRORLOG_API void _MErrLog_Location(int reserved, const char* file, int line);

/// Writes the entry, formatted as platform_vformat does, of any length. Without a location: file "", line 0.
ERRORLOG_API void _MErrLog_Add(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

}  // extern "C"
