#include "log_recorder.h"

namespace test {

LogRecorder::LogRecorder(int masterLevel) : _formerLevel(LogCore_MasterLevel()) {
    LogCore_SetMasterLevel(masterLevel);
    LogCore_SetCapture(&LogRecorder::record, this);
}

LogRecorder::~LogRecorder() {
    LogCore_SetCapture(nullptr, nullptr);
    LogCore_SetMasterLevel(_formerLevel);
}

std::vector<LogEntry> LogRecorder::entries() const {
    const std::lock_guard lock(_mutex);
    return _entries;
}

std::vector<LogEntry> LogRecorder::entries(LogSink sink) const {
    std::vector<LogEntry> found;
    for (const LogEntry& entry : entries()) {
        if (entry.sink == sink) found.push_back(entry);
    }
    return found;
}

std::vector<std::string> LogRecorder::texts(LogSink sink) const {
    std::vector<std::string> found;
    for (const LogEntry& entry : entries(sink)) found.push_back(entry.text);
    return found;
}

void LogRecorder::clear() {
    const std::lock_guard lock(_mutex);
    _entries.clear();
}

void LogRecorder::record(void* self, const LogEntryView* entry) {
    auto& recorder = *static_cast<LogRecorder*>(self);
    const std::lock_guard lock(recorder._mutex);
    recorder._entries.push_back(
        {entry->sink, entry->level, entry->file, entry->line, entry->channel, entry->text, entry->thread});
}

}  // namespace test
