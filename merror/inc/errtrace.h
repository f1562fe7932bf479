// How every module reports: trace lines, error log, error trace, and the error trace context.
// A source file that reports names itself once:  namespace { const char kFile[] = "mipc/src/mevent_win32"; }
// Hosts search their logs by these names, so they never depend on the folder of the build.
#pragma once

#include <type_traits>

#include "errorlog.h"
#include "errortrace.h"
#include "platform.h"
#include "reported_places.h"
#include "trace.h"

/// Traces one progress message: level test, location, text; the text is formatted only if both tests pass.
#define M_TRACE_AT(lineNumber, level, ...)                                                            \
    do {                                                                                              \
        if (MTrace_TestMasterLevel(level) && _MTrace_Location(kFile, (lineNumber), "default", level)) \
            _MTrace_Always(__VA_ARGS__);                                                              \
    } while (false)
#define M_TRACE(level, ...) M_TRACE_AT(M_HERE, level, __VA_ARGS__)

/// Records an error in the error log, from the calling line. Arguments must not log themselves.
#define M_ERRLOG(...)                        \
    do {                                     \
        _MErrLog_Location(0, kFile, M_HERE); \
        _MErrLog_Add(__VA_ARGS__);           \
    } while (false)

/// Records a low-level error in the error trace, from the calling line. Arguments must not log themselves.
#define M_ERRTRACE(...)                        \
    do {                                       \
        _MErrTrace_Location(0, kFile, M_HERE); \
        _MErrTrace_Add(__VA_ARGS__);           \
    } while (false)

/// Scope in which a thread's low-level errors are collected; they can be dumped into the error log.
/// Lives on the stack of one thread; contexts nest.
class MErrTraceContext {
public:
    /// @param file  Name of the reporting source file; must outlive the context.
    explicit MErrTraceContext(const char* file);
    ~MErrTraceContext();
    MErrTraceContext(const MErrTraceContext&) = delete;
    MErrTraceContext& operator=(const MErrTraceContext&) = delete;

    const char* file() const { return _file; }

    /// Dumps the context into the error log with a message of at most 254 characters. A longer one is cut, after an
    /// error entry that says so. Any number of threads may dump at once.
    void DumpToMErrLog(int line, const char* format, ...) const PLATFORM_FORMAT(3, 4);

private:
    const char* _file;
};
// The host's library reads the record: the file name and nothing else.
static_assert(sizeof(MErrTraceContext) == sizeof(const char*) && std::is_standard_layout_v<MErrTraceContext>);

/// Makes the platform layer's own findings entries of the error trace. Done at load in every module with a source file
/// that includes this header; doing it again changes nothing.
bool MErrTrace_TakePlatformReports();

/// Its initialiser is what brings the function into a module, also where nothing else of this library is used.
inline const bool kTakesPlatformReports = MErrTrace_TakePlatformReports();
