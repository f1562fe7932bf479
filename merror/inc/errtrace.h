// How every module reports: trace lines, error log, error trace, and the error trace context.
// A source file that reports names itself once:  namespace { const char kFile[] = "mipc/src/mevent_win32"; }
// Hosts search their logs by these names, so the names never depend on the build folder.
#pragma once

#include <type_traits>

#include "errorlog.h"
#include "errortrace.h"
#include "platform.h"
#include "reported_places.h"
#include "trace.h"

/// Traces one progress message: level test, location, text. The text is formatted only if both tests pass.
#define M_TRACE_AT(lineNumber, level, ...)                                                            \
    do {                                                                                              \
        if (MTrace_TestMasterLevel(level) && _MTrace_Location(kFile, (lineNumber), "default", level)) \
            _MTrace_Always(__VA_ARGS__);                                                              \
    } while (false)
#define M_TRACE(level, ...) M_TRACE_AT(M_HERE, level, __VA_ARGS__)

/// Records an error in the error log, with the calling line. Arguments must not log themselves.
#define M_ERRLOG(...)                        \
    do {                                     \
        _MErrLog_Location(0, kFile, M_HERE); \
        _MErrLog_Add(__VA_ARGS__);           \
    } while (false)

/// Records a low-level error in the error trace, with the calling line. Arguments must not log themselves.
#define M_ERRTRACE(...)                        \
    do {                                       \
        _MErrTrace_Location(0, kFile, M_HERE); \
        _MErrTrace_Add(__VA_ARGS__);           \
    } while (false)

/// Scope in which a thread's low-level errors are collected and can be dumped into the error log. Lives on the stack of
/// one thread; contexts nest.
class MErrTraceContext {
public:
    /// @param file  Name of the reporting source file; must outlive the context.
    explicit MErrTraceContext(const char* file);
    ~MErrTraceContext();
    MErrTraceContext(const MErrTraceContext&) = delete;
    MErrTraceContext& operator=(const MErrTraceContext&) = delete;

    const char* file() const { return _file; }

    /// Dumps the context into the error log with a message of at most 254 characters. A longer message is cut, after an
    /// error entry that says so. Any number of threads may dump at the same time.
    void DumpToMErrLog(int line, const char* format, ...) const PLATFORM_FORMAT(3, 4);

private:
    const char* _file;
};
// The host's library reads only the file name from the record.
static_assert(sizeof(MErrTraceContext) == sizeof(const char*) && std::is_standard_layout_v<MErrTraceContext>);

/// Turns the platform layer's own findings into entries of the error trace. Every module with a source file that
/// includes this header calls it when it is loaded; further calls change nothing.
bool MErrTrace_TakePlatformReports();

/// Its initialiser brings the function into a module even if it uses nothing else of this library.
inline const bool kTakesPlatformReports = MErrTrace_TakePlatformReports();
