// Equal entries in a row are counted instead of written, so that a fault that repeats 200 times a second does not fill
// a disk. The caller supplies the clock.
#pragma once

#include <chrono>
#include <string>

#include "log_core.h"

/// The last entry of one sink, and how often it has been repeated without being written. Entries are equal when level,
/// place and text are.
class LogRow {
public:
    using Clock = std::chrono::steady_clock;

    /// A row is summed up after one second, then after 2 s, 4 s … and finally every 64 s.
    static constexpr Clock::duration kFirstInterval = std::chrono::seconds(1);
    static constexpr Clock::duration kLongestInterval = std::chrono::seconds(64);

    enum class Step {
        write,    // a new entry, or one that was not repeated for an interval: call begin() once it is written
        counted,  // one of many
        sumUp,    // counted, and it is time to write the number
    };

    Step next(const LogEntryView& entry, Clock::time_point now);
    void begin(const LogEntryView& entry, Clock::time_point now);
    void end() { _begun = false; }  // the next entry is new in any case

    /// Number of repeats since the entry, or its last sum, was written; the sum counts as written now.
    unsigned long long takeRepeats();

    bool hasRepeats() const { return _repeats > 0; }
    Clock::time_point last() const { return _last; }                              // time of the last repeat
    std::chrono::system_clock::time_point lastTime() const { return _lastTime; }  // by the clock on the wall

    /// The entry itself; its texts exist as long as the row continues.
    LogEntryView entry() const;

private:
    bool equals(const LogEntryView& entry) const;

    bool _begun = false;
    LogSink _sink = LogSink::trace;
    int _level = 0;
    int _line = 0;
    std::string _file;
    std::string _text;
    unsigned long long _repeats = 0;
    Clock::duration _interval = kFirstInterval;
    Clock::time_point _written{};  // the entry, or its last sum
    Clock::time_point _last{};
    std::chrono::system_clock::time_point _lastTime{};
};
