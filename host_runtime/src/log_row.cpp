#include "log_row.h"

#include <algorithm>
#include <utility>

LogRow::Step LogRow::next(const LogEntryView& entry, Clock::time_point now) {
    if (!equals(entry)) return Step::write;
    const bool due = now - _written >= _interval;
    if (due && _repeats == 0) return Step::write;
    ++_repeats;
    _last = now;
    _lastTime = std::chrono::system_clock::now();
    if (!due) return Step::counted;
    _written = now;
    _interval = std::min(2 * _interval, kLongestInterval);
    return Step::sumUp;
}

void LogRow::begin(const LogEntryView& entry, Clock::time_point now) {
    _begun = false;  // should memory run out below
    _file = entry.file;
    _text = entry.text;
    _sink = entry.sink;
    _level = entry.level;
    _line = entry.line;
    _repeats = 0;
    _interval = kFirstInterval;
    _written = _last = now;
    _lastTime = std::chrono::system_clock::now();
    _begun = true;
}

unsigned long long LogRow::takeRepeats() { return std::exchange(_repeats, 0); }

LogEntryView LogRow::entry() const { return {_sink, _level, _file.c_str(), _line, "", _text.c_str(), 0}; }

bool LogRow::equals(const LogEntryView& entry) const {
    return _begun && entry.sink == _sink && entry.level == _level && entry.line == _line && _file == entry.file &&
           _text == entry.text;
}
