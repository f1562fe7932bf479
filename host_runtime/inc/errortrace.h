// Error trace library: low-level errors of the support library, collected per thread into a context that a caller may
// dump into the error log. A host installation brings its own; this one stands in for it.
#pragma once

#include "host_runtime_export.h"

class MErrTraceContext;

extern "C" {

/// Says where the next entry, or dump, of this thread comes from; serves one. The first argument is always 0.
ERRORTRACE_API void _MErrTrace_Location(int reserved, const char* file, int line);

/// Writes the entry, formatted as platform_vformat does, of any length, and keeps it in the thread's innermost context,
/// which holds the newest 16.
ERRORTRACE_API void _MErrTrace_Add(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

/// Begins a context of this thread; they nest to any depth. The record stays the caller's until the matching end, which
/// forgets what was collected. An end without a beginning does nothing.
ERRORTRACE_API void MErrTrace_BeginContext(MErrTraceContext* context);
ERRORTRACE_API void MErrTrace_EndContext();

/// Forgets what the innermost context has collected.
ERRORTRACE_API void MErrTrace_ClearContext();

/// Writes what the innermost context has collected, each entry with its own location and text, then this message, with
/// the location given last, into the error log. The context keeps what it has.
ERRORTRACE_API void _MErrTrace_DumpContextToMErrLog(const char* format, ...) HOST_RUNTIME_FORMAT(1, 2);

}  // extern "C"
