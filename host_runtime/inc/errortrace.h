// Error trace library: low-level errors of the support library, collected per thread in a context that a caller may
// dump into the error log. A host installation has its own; this one replaces it.
#pragma once

#include "host_runtime_export.h"

class MErrTraceContext;

extern "C" {

/// Sets the location of this thread's next entry or dump, for one of them. The first argument is always 0.
ERRORTRACE_API void _MErrTrace_Location(int reserved, const char* file, int line);

/// Writes the entry, formatted like platform_vformat, of any length, and keeps it in the thread's innermost context,
/// which holds the newest 16.
ERRORTRACE_API void _MErrTrace_Add(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

/// Begins a context of this thread; contexts nest to any depth. The record belongs to the caller until the matching
/// end, which discards what was collected. An end without a beginning does nothing.
ERRORTRACE_API void MErrTrace_BeginContext(MErrTraceContext* context);
ERRORTRACE_API void MErrTrace_EndContext();

/// Discards what the innermost context has collected.
ERRORTRACE_API void MErrTrace_ClearContext();

/// Writes into the error log what the innermost context has collected, each entry with its own location and text, then
/// this message with the location set last. The context keeps its entries.
ERRORTRACE_API void _MErrTrace_DumpContextToMErrLog(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

}  // extern "C"
