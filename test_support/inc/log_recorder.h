// Records every entry of trace, error log and error trace of this process while it exists; the log itself stays quiet.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "log_core.h"

namespace test {

struct LogEntry {
    LogSink sink;
    int level;
    std::string file;
    int line;
    std::string channel;
    std::string text;
    unsigned long long thread;
};

/// One at a time. Sets the trace master level for its lifetime.
class LogRecorder {
public:
    explicit LogRecorder(int masterLevel = 4);
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<LogEntry> entries() const;
    std::vector<LogEntry> entries(LogSink sink) const;

    /// Only the texts, in order of arrival.
    std::vector<std::string> traces() const { return texts(LogSink::trace); }
    std::vector<std::string> errors() const { return texts(LogSink::errorLog); }
    std::vector<std::string> errorTraces() const { return texts(LogSink::errorTrace); }
    std::vector<std::string> texts(LogSink sink) const;

    void clear();

private:
    static void record(void* self, const LogEntryView* entry);

    mutable std::mutex _mutex;
    std::vector<LogEntry> _entries;
    int _formerLevel;
};

}  // namespace test
