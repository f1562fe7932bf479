#include "log_core.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <spdlog/details/log_msg.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

#include "kept_log.h"
#include "log_file.h"
#include "log_row.h"
#include "one_line.h"
#include "platform.h"

namespace {

constexpr int kLowestLevel = 0;
constexpr int kHighestLevel = 5;
constexpr int kLevelNotRead = -1;
constexpr std::uint64_t kBytesPerMb = 1000000;
constexpr const char* kSinkNames[] = {"trace", "errorlog", "errortrace"};

// Formats a line and passes it to the file in one piece. Guarded by the log's lock.
class LineSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit LineSink(LogFile& file)
        : base_sink(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%d %H:%M:%S.%e %n %v",
                                                                spdlog::pattern_time_type::local, "\n")),
          _file(file) {}

    /// Number of lines lost with the last one.
    std::size_t takeLost() { return std::exchange(_lost, 0); }

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        _lost = _file.write(line.data(), line.size());
    }
    void flush_() override {}  // every line is out when it was written

    LogFile& _file;
    std::size_t _lost = 0;
};

struct Log {
    std::mutex mutex;
    void (*capture)(void* context, const LogEntryView* entry) = nullptr;
    void* captureContext = nullptr;
    LogFile* file = nullptr;  // created with its sink for the first line
    LineSink* sink = nullptr;
    LineSink* echo = nullptr;  // standard error beside a file
    KeptLog* kept = nullptr;   // once a program has chosen a destination
    bool isInMemoryAlone = false;
    LogRow rows[std::size(kSinkNames)];
    bool countsRepeats = true;
    bool toldOverfull = false;
    std::uint64_t lost = 0;  // entries, since one was written last
};

// Never destroyed, on purpose, and this library is never unloaded. Destructors of other modules may report after this
// one's would have run, and the file is opened only once, however often a plugin is loaded.
Log& theLog() {
    alignas(Log) static std::byte storage[sizeof(Log)];
    static Log* const log = [] {
        platform_keepLibraryLoaded();
        return new (storage) Log;
    }();
    return *log;
}

// A fork takes the lock, so that a child finds it free and nothing half changed.
void lockForFork() { theLog().mutex.lock(); }
void unlockInParent() { theLog().mutex.unlock(); }

// The parent itself reports what it has counted.
void beginAnewInChild() {
    Log& log = theLog();
    for (LogRow& row : log.rows) row = LogRow();
    log.lost = 0;
    if (log.file) log.file->forgetPart();
    log.mutex.unlock();
}

// Registered when this library is loaded: a fork while another thread writes the first entry waits for that entry, too.
[[maybe_unused]] const bool isRegistered = [] {
    platform_runAroundForks(lockForFork, unlockInParent, beginAnewInChild);
    return true;
}();

std::atomic<int> masterLevel{kLevelNotRead};

const char* environmentText(const char* name) {
    const char* text = std::getenv(name);
    return text && *text ? text : nullptr;
}

void appendOnOneLine(std::string& line, const char* text) {
    putOnOneLine(text, [&line](std::string_view piece) { line += piece; });
}

// Reports on standard error, wherever the log goes. All these reports share one patience. Guarded by the log's lock.
void say(const std::string& what) {
    const std::string line = what + "\n";
    static LogFile* const standardError = new LogFile;  // never destroyed, as the log itself
    standardError->write(line.data(), line.size());
}

struct NumberVariable {
    const char* name;
    int lowest;
    int highest;
    int byDefault;
};

constexpr NumberVariable kLevelVariable{"DORVEN_LOG_LEVEL", kLowestLevel, kHighestLevel, kLowestLevel};
constexpr NumberVariable kMaxMbVariable{"DORVEN_LOG_MAX_MB", 0, 1000000, 64};

void complainAbout(const NumberVariable& variable, const char* text, const char* usedPrefix, int used) {
    try {
        std::string complaint = std::string(variable.name) + " is \"";
        appendOnOneLine(complaint, text);
        say(complaint + "\", not a number from " + std::to_string(variable.lowest) + " to " +
            std::to_string(variable.highest) + ": " + usedPrefix + std::to_string(used) + " is used.");
    } catch (...) {
        // Out of memory: the number is used all the same.
    }
}

// Reports a fault on standard error. A number out of range becomes the nearest one, any other text the default.
int numberFromEnvironment(const NumberVariable& variable, const char* usedPrefix) {
    const char* text = environmentText(variable.name);
    if (!text) return variable.byDefault;
    const char* end = text + std::strlen(text);
    int number = variable.byDefault;
    const auto [stop, error] = std::from_chars(text, end, number);
    if (error == std::errc::result_out_of_range) number = *text == '-' ? variable.lowest : variable.highest;
    const bool isNumber = error != std::errc::invalid_argument && stop == end;
    const int used = isNumber ? std::clamp(number, variable.lowest, variable.highest) : variable.byDefault;
    if (!isNumber || error != std::errc() || used != number) complainAbout(variable, text, usedPrefix, used);
    return used;
}

constexpr const char* kFileVariable = "DORVEN_LOG_FILE";

std::uint64_t maxBytes() { return static_cast<std::uint64_t>(numberFromEnvironment(kMaxMbVariable, "")) * kBytesPerMb; }

void complainAboutFile(const char* path, const char* instead) {
    std::string complaint = "The log file \"";
    appendOnOneLine(complaint, path);
    say(complaint + "\" (" + kFileVariable + ") cannot be opened: entries " + instead + ".");
}

void openLog(Log& log) {
    auto file = std::make_unique<LogFile>();
    auto sink = std::make_unique<LineSink>(*file);
    const char* path = environmentText(kFileVariable);
    if (const std::uint64_t most = maxBytes(); path && !file->open(path, most))
        complainAboutFile(path, "go to standard error");
    log.file = file.release();
    log.sink = sink.release();
}

// Files and sinks are never destroyed, as the log itself: a program chooses once or twice.
void useOutlets(Log& log, std::unique_ptr<LogFile> file, bool standardError) {
    std::unique_ptr<LogFile> terminal = standardError ? std::make_unique<LogFile>() : nullptr;
    std::unique_ptr<LineSink> echo = file && terminal ? std::make_unique<LineSink>(*terminal) : nullptr;
    LogFile* const first = file ? file.get() : terminal.get();
    std::unique_ptr<LineSink> sink = first ? std::make_unique<LineSink>(*first) : nullptr;
    log.file = first;
    log.sink = sink.release();
    log.echo = echo.release();
    log.isInMemoryAlone = first == nullptr;
    for (LogRow& row : log.rows) row.end();
    static_cast<void>(file.release());
    static_cast<void>(terminal.release());
}

// False: the file that was asked for cannot be opened.
bool setDestination(Log& log, const LogDestination& destination) {
    const bool isAlone = destination.memoryAlone != 0;
    const bool isAskedFor = !isAlone && destination.file && *destination.file;
    const char* path = isAskedFor ? destination.file : isAlone ? nullptr : environmentText(kFileVariable);
    std::unique_ptr<LogFile> file = path ? std::make_unique<LogFile>() : nullptr;
    if (file && !file->open(path, maxBytes())) {
        if (isAskedFor) return false;
        complainAboutFile(path, destination.standardError ? "go to standard error" : "are kept in memory");
        file.reset();
    }
    if (!log.kept) log.kept = new KeptLog;  // never destroyed, as the log itself
    useOutlets(log, std::move(file), !isAlone && destination.standardError != 0);
    return true;
}

void sayOverfull(Log& log) {
    if (!log.file->isOverfull()) {
        log.toldOverfull = false;
    } else if (!log.toldOverfull) {
        log.toldOverfull = true;
        std::string complaint = "The log file \"";
        appendOnOneLine(complaint, log.file->path().c_str());
        say(complaint +
            "\" has twice the size of DORVEN_LOG_MAX_MB and cannot be renamed: entries are lost. Close what "
            "has it open, or let this account write into its folder.");
    }
}

// False: it is lost, and not yet counted as lost.
bool writeLine(Log& log, LogSink origin, std::chrono::system_clock::time_point time, const std::string& line) {
    const char* name = kSinkNames[static_cast<int>(origin)];
    const spdlog::details::log_msg message(time, spdlog::source_loc{}, name, spdlog::level::info, line);
    log.sink->log(message);
    if (log.echo) log.echo->log(message);
    const std::size_t lost = log.sink->takeLost();
    sayOverfull(log);
    if (lost > 1) log.lost += lost - 1;
    return lost == 0;
}

// When the log works again, the report of the loss comes first.
bool writeLossNote(Log& log) {
    if (log.lost == 0) return true;
    const std::string count = std::to_string(log.lost) + (log.lost == 1 ? " entry was" : " entries were");
    if (!writeLine(log, LogSink::errorLog, std::chrono::system_clock::now(),
                   "0 log_core:0 " + count + " lost here: the log could not be written"))
        return false;
    log.lost = 0;
    return true;
}

// Counts the loss, also if writing ends because memory runs out.
struct LossUnlessOut {
    ~LossUnlessOut() {
        if (!isOut) log.lost += entries;
    }
    Log& log;
    std::uint64_t entries;
    bool isOut = false;
};

// False: it is lost, and not yet counted as lost.
bool writeEntry(Log& log, const LogEntryView& entry, std::chrono::system_clock::time_point time, const char* text) {
    std::string line = std::to_string(entry.level);
    line += ' ';
    appendOnOneLine(line, *entry.file ? entry.file : "?");
    line += ':';
    line += std::to_string(entry.line);
    line += ' ';
    appendOnOneLine(line, text);
    return writeLossNote(log) && writeLine(log, entry.sink, time, line);
}

// An entry that was repeated only once is written as it is.
void writeRepeats(Log& log, LogRow& row) {
    if (!row.hasRepeats()) return;
    const LogEntryView entry = row.entry();
    const unsigned long long repeats = row.takeRepeats();
    LossUnlessOut loss{log, repeats};
    const std::string text = repeats == 1 ? entry.text : "last entry repeated " + std::to_string(repeats) + " times";
    loss.isOut = writeEntry(log, entry, row.lastTime(), text.c_str());
}

// In the order of their last repeats.
void writeAllRepeats(Log& log) {
    LogRow* rows[std::size(kSinkNames)];
    std::transform(std::begin(log.rows), std::end(log.rows), rows, [](LogRow& row) { return &row; });
    std::sort(std::begin(rows), std::end(rows), [](const LogRow* a, const LogRow* b) { return a->last() < b->last(); });
    for (LogRow* row : rows) writeRepeats(log, *row);
}

void keep(KeptLog& kept, const LogEntryView& entry) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    kept.add(entry, std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void add(Log& log, const LogEntryView& entry) {
    if (log.kept) keep(*log.kept, entry);
    if (log.isInMemoryAlone) return;
    if (!log.sink) openLog(log);
    LogRow& row = log.rows[static_cast<int>(entry.sink)];
    const auto now = LogRow::Clock::now();
    const LogRow::Step step = log.countsRepeats ? row.next(entry, now) : LogRow::Step::write;
    if (step == LogRow::Step::counted) return;
    if (step == LogRow::Step::sumUp) return writeRepeats(log, row);
    writeAllRepeats(log);
    LossUnlessOut loss{log, 1};
    row.end();  // if the entry is lost, nobody knows what is repeated
    loss.isOut = writeEntry(log, entry, std::chrono::system_clock::now(), entry.text);
    if (loss.isOut) row.begin(entry, now);
}

// At the end of the program nothing more may follow, so the counted repeats are written, and nothing is counted any
// more. A thread that the system has ended may hold the lock.
struct LastRepeats {
    ~LastRepeats() {
        Log& log = theLog();
        const std::unique_lock lock(log.mutex, std::try_to_lock);
        if (!lock || !log.sink) return;
        try {
            log.countsRepeats = false;
            writeAllRepeats(log);
            writeLossNote(log);
        } catch (...) {
            // Out of memory.
        }
    }
} lastRepeats;

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

// Callers report a failure and then return its cause, so the errors that they read must stay unchanged.
class ErrorsOfCaller {
public:
    ErrorsOfCaller() = default;
    ~ErrorsOfCaller() {
        SetLastError(_lastError);
        errno = _number;
    }
    ErrorsOfCaller(const ErrorsOfCaller&) = delete;
    ErrorsOfCaller& operator=(const ErrorsOfCaller&) = delete;

private:
    const DWORD _lastError = GetLastError();
    const int _number = errno;
};

}  // namespace

void LogCore_Write(const LogEntryView* entry) {
    if (!entry) return;
    const ErrorsOfCaller errors;
    try {
        const LogEntryView whole = completed(*entry);
        Log& log = theLog();
        const std::lock_guard lock(log.mutex);
        if (log.capture) return log.capture(log.captureContext, &whole);
        add(log, whole);
    } catch (...) {
        // Out of memory: the entry is lost; the reporter must not be.
    }
}

int LogCore_MasterLevel() {
    const int level = masterLevel.load(std::memory_order_relaxed);
    if (level != kLevelNotRead) return level;
    const ErrorsOfCaller errors;
    const std::lock_guard lock(theLog().mutex);  // one thread reads, and says once what it dislikes
    int unread = kLevelNotRead;
    if (masterLevel.load(std::memory_order_relaxed) == kLevelNotRead)
        masterLevel.compare_exchange_strong(unread, numberFromEnvironment(kLevelVariable, "level "),
                                            std::memory_order_relaxed);
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

int LogCore_SetDestination(const LogDestination* destination) {
    if (!destination) return 0;
    const ErrorsOfCaller errors;
    try {
        Log& log = theLog();
        const std::lock_guard lock(log.mutex);
        return setDestination(log, *destination) ? 1 : 0;
    } catch (...) {
        return 0;  // out of memory
    }
}

int LogCore_NextKept(unsigned long long* number, LogKeptEntry* entry) {
    if (!number || !entry) return 0;
    Log& log = theLog();
    const std::lock_guard lock(log.mutex);
    return log.kept && log.kept->next(*number, *entry) ? 1 : 0;
}
