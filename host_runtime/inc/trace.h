// Trace library: optional progress messages, filtered by level. A host installation has its own; this one replaces it.
// A message is written in three steps: test the level, set the location, write the text.
#pragma once

#include "host_runtime_export.h"

extern "C" {

/// Non-zero if messages of that level (0 most important … 5 most detailed) are wanted. Any thread.
TRACE_API int MTrace_TestMasterLevel(int level);

/// Sets the location of this thread's next message, for one message. Non-zero if it is to be written.
TRACE_API int _MTrace_Location(const char* file, int line, const char* channel, int level);

/// Writes the message, formatted like platform_vformat, of any length and whatever its level. Without a location: file
/// "", line 0, channel "default", level 0.
TRACE_API void _MTrace_Always(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

}  // extern "C"
