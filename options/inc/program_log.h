// Where a program's log lines go: its own, and those of the plugin, which shares the log of the process.
//
// A log also has lines of states that are no fault, such as a peer that has not come yet, so it does not belong on a
// terminal. Lines go to the file of --log, else to that of DORVEN_LOG_FILE, else nowhere; --verbose shows them on
// standard error. Whatever it is, the newest 1,000 different lines stay in memory. DORVEN_LOG_LEVEL sets how much is
// logged at all.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace options {

struct LogOptions {
    std::string file;      // empty: none was named
    bool verbose = false;  // on standard error as well
};

/// Keeps lines in memory from now on, before the command line is read.
void keepProgramLog();

/// Sends them where the options say. @return Why that cannot be; empty: done.
std::string openProgramLog(const LogOptions& options);

/// A line that is kept.
struct LogLine {
    std::string text;  // "errorlog Dorven/TeskImages:75 text", with how often it came
    bool isUsual;      // of a state that is no fault
};

/// All of them, oldest first.
std::vector<LogLine> programLog();

/// Before the reason of a failure: the newest of the kept lines that may tell more of it, unless they were shown
/// already. Nothing when there are none.
void tellLogBefore(const char* program, std::ostream& people);

}  // namespace options
