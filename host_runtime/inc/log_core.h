// The one place that trace, errorlog and errortrace write to: the log file, the newest entries in memory for a program
// that wants them, and a capture for tests. One line per entry, out when its function returns:
//   2026-01-31 12:34:56.789 errorlog 0 Dorven/TeskImages:75 text      (time, sink, level, source file:line, text)
// Control characters are escaped (\n, \x1b). Nothing here throws, ends the program or delays it for long.
//
// Environment, read at the first use; faults in it are reported once on standard error:
//   DORVEN_LOG_LEVEL   the trace master level 0 … 5 (default 0: errors, and traces of level 0)
//   DORVEN_LOG_FILE    a file to which any number of processes append entries (default: standard error)
//   DORVEN_LOG_MAX_MB  size in MB at which that file is renamed to FILE.1, which replaces an older FILE.1, and a new
//                      file is started (default 64; 0: never). All processes that write one file need the same value.
//
// Equal entries of one sink in a row are counted, not written: "last entry repeated 118 times" follows after 1 s, then
// after 2 s, 4 s … 64 s more, before the next different entry, and at the end of the program (not when it is killed).
// It has the time of the last of them.
//
// What cannot be written is lost: on a full disk, with a pipe without a reader, and with a pipe, terminal or locked
// file that stays blocked for half a second (for a tenth of the time, if that happens often). As soon as the log can be
// written again, an entry of log_core reports how many entries were lost there. None of this causes a signal, and the
// program's own signal settings stay unchanged. Not covered: a file on a server that does not answer.
//
// A forked child logs as well, and does not report what its parent has counted. The fork waits for an entry that
// another thread is writing.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "host_runtime_export.h"

enum class LogSink : int { trace = 0, errorLog = 1, errorTrace = 2 };

/// One entry as a capture receives it; texts are copies that exist during the call.
struct LogEntryView {
    LogSink sink;
    int level;         // of a trace message; 0 for the other sinks
    const char* file;  // as the reporter named it
    int line;
    const char* channel;  // of a trace message; "" for the other sinks
    const char* text;
    unsigned long long thread;  // number of the reporting thread; set by the log, whatever the reporter says
};

/// Where a program wants its entries, other than a host that says nothing.
struct LogDestination {
    const char* file;   // appended to; null or "": the file of DORVEN_LOG_FILE, if that is set
    int standardError;  // not 0: entries also go to standard error, beside a file or alone
    int memoryAlone;  // not 0: entries stay in memory, whatever else says: a program that has not read its options yet
};

/// An entry that is kept in memory. An equal one that comes soon after it is counted here.
struct LogKeptEntry {
    LogSink sink;
    int level;
    int line;
    unsigned long long times;  // how often it has come
    long long firstMs;         // when it came first, and last: ms since 1970, by the clock on the wall
    long long lastMs;
    char file[100];  // on one line; one that is too long ends with "..."
    char text[400];
};

extern "C" {

/// Writes one entry to the log and to the capture, if one runs. Any thread; entries never mix. errno and the last error
/// stay unchanged.
LOG_CORE_API void LogCore_Write(const LogEntryView* entry);

/// The trace master level, 0 … 5, from the environment or as set; a set value is limited to that range.
LOG_CORE_API int LogCore_MasterLevel();
LOG_CORE_API void LogCore_SetMasterLevel(int level);

/// From now on also passes every entry to a function, on the reporting thread and under the log's lock, so the function
/// must neither report nor fork; null ends the capture. During a capture the log itself is not written, so that tests
/// stay quiet.
LOG_CORE_API void LogCore_SetCapture(void (*function)(void* context, const LogEntryView* entry), void* context);

/// Sends entries elsewhere from now on, and keeps the newest 1,000 different ones in memory. Without a file and without
/// standard error they are in memory alone. A program calls it at its beginning; the plugin that it loads shares the
/// log. Nobody else calls it: entries of other hosts go where the environment says.
/// @return  0: that file cannot be opened, and the destination is as it was. A file of DORVEN_LOG_FILE that cannot be
///          opened is told on standard error and does without.
LOG_CORE_API int LogCore_SetDestination(const LogDestination* destination);

/// Copies an entry that is kept: the oldest one with this number or a greater one, which then becomes the number behind
/// it. Numbers begin at 0.
/// @return  0: there is none.
LOG_CORE_API int LogCore_NextKept(unsigned long long* number, LogKeptEntry* entry);

}  // extern "C"
