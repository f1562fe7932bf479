#include "log_core.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include <spdlog/details/log_msg.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

#include "log_file.h"

namespace {

constexpr int kLowestLevel = 0;
constexpr int kHighestLevel = 5;
constexpr int kLevelNotRead = -1;
constexpr const char* kSinkNames[] = {"trace", "errorlog", "errortrace"};

// Formats a line and hands it to the file in one piece. The log's lock guards it.
class LineSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit LineSink(LogFile& file)
        : base_sink(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%d %H:%M:%S.%e %n %v",
                                                                spdlog::pattern_time_type::local, "\n")),
          _file(file) {}

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        _file.write(line.data(), line.size());
    }
    void flush_() override {}  // every line is out when it was written

    LogFile& _file;
};

struct Log {
    std::mutex mutex;
    void (*capture)(void* context, const LogEntryView* entry) = nullptr;
    void* captureContext = nullptr;
    LineSink* sink = nullptr;  // made for the first line
};

// Never destroyed, on purpose, and this library is never unloaded: other modules' destructors may report when this
// one's would have run already, and the file is opened once however often a plugin is loaded.
Log& theLog() {
    alignas(Log) static std::byte storage[sizeof(Log)];
    static Log* const log = [] {
        keepLogLibraryLoaded();
        return new (storage) Log;
    }();
    return *log;
}

std::atomic<int> masterLevel{kLevelNotRead};

const char* environmentText(const char* name) {
    const char* text = std::getenv(name);
    return text && *text ? text : nullptr;
}

int masterLevelFromEnvironment() {
    const char* text = environmentText("DORVEN_LOG_LEVEL");
    if (!text) return kLowestLevel;
    const char* end = text + std::strlen(text);
    int level = kLowestLevel;
    const auto [stop, error] = std::from_chars(text, end, level);
    if (error == std::errc::result_out_of_range) level = *text == '-' ? kLowestLevel : kHighestLevel;
    const bool isNumber = error != std::errc::invalid_argument && stop == end;
    const int used = isNumber ? std::clamp(level, kLowestLevel, kHighestLevel) : kLowestLevel;
    if (!isNumber || error != std::errc() || used != level)
        std::fprintf(stderr, "DORVEN_LOG_LEVEL is \"%s\", not a number from 0 to 5: level %d is used.\n", text, used);
    return used;
}

LineSink* makeSink() {
    auto& file = *new LogFile;
    const char* path = environmentText("DORVEN_LOG_FILE");
    if (path && !file.open(path))
        std::fprintf(stderr, "The log file \"%s\" (DORVEN_LOG_FILE) cannot be opened: entries go to standard error.\n",
                     path);
    return new LineSink(file);
}

// Control characters become \n, \t, \x1b …, so that an entry stays one line.
void appendOnOneLine(std::string& line, const char* text) {
    for (; *text; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte >= 0x20 && byte != 0x7F) {
            line += *text;
        } else if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte == '\t') {
            line += "\\t";
        } else {
            constexpr char kDigits[] = "0123456789abcdef";
            line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
}

void writeLine(LineSink& sink, const LogEntryView& entry) {
    std::string line = std::to_string(entry.level);
    line += ' ';
    appendOnOneLine(line, *entry.file ? entry.file : "?");
    line += ':';
    line += std::to_string(entry.line);
    line += ' ';
    appendOnOneLine(line, entry.text);
    const char* name = kSinkNames[static_cast<int>(entry.sink)];
    sink.log(spdlog::details::log_msg(spdlog::source_loc{}, name, spdlog::level::info, line));
}

unsigned long long threadNumber() {
    static std::atomic<unsigned long long> last{0};
    thread_local unsigned long long number = 0;
    if (number == 0) number = ++last;
    return number;
}

LogEntryView completed(const LogEntryView& entry) {
    const auto orEmpty = [](const char* text) { return text ? text : ""; };
    LogEntryView whole = entry;
    whole.file = orEmpty(entry.file);
    whole.channel = orEmpty(entry.channel);
    whole.text = orEmpty(entry.text);
    whole.thread = threadNumber();
    return whole;
}

}  // namespace

void LogCore_Write(const LogEntryView* entry) {
    if (!entry) return;
    try {
        const LogEntryView whole = completed(*entry);
        Log& log = theLog();
        const std::lock_guard lock(log.mutex);
        if (log.capture) return log.capture(log.captureContext, &whole);
        if (!log.sink) log.sink = makeSink();
        writeLine(*log.sink, whole);
    } catch (...) {
        // Out of memory: the entry is lost; the reporter must not be.
    }
}

int LogCore_MasterLevel() {
    const int level = masterLevel.load(std::memory_order_relaxed);
    if (level != kLevelNotRead) return level;
    const std::lock_guard lock(theLog().mutex);  // one thread reads, and says once what it dislikes
    int unread = kLevelNotRead;
    if (masterLevel.load(std::memory_order_relaxed) == kLevelNotRead)
        masterLevel.compare_exchange_strong(unread, masterLevelFromEnvironment(), std::memory_order_relaxed);
    return masterLevel.load(std::memory_order_relaxed);
}

void LogCore_SetMasterLevel(int level) {
    masterLevel.store(std::clamp(level, kLowestLevel, kHighestLevel), std::memory_order_relaxed);
}

void LogCore_SetCapture(void (*function)(void* context, const LogEntryView* entry), void* context) {
    Log& log = theLog();
    const std::lock_guard lock(log.mutex);
    log.capture = function;
    log.captureContext = context;
}
