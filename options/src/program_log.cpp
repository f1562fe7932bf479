#include "program_log.h"

#include <algorithm>
#include <string_view>

#include "log_core.h"

namespace options {
namespace {

constexpr std::size_t kMaxTold = 5;
constexpr const char* kSinkNames[] = {"trace", "errorlog", "errortrace"};

// What is logged while a peer has not come yet or has just left.
struct UsualRow {
    std::string_view begin, end;
};
// clang-format off
constexpr UsualRow kUsual[] = {
    {"MSharedMem_Link() failed for ",          "(2)"                      },  // nobody has made the memory
    {"could not link shared mem for image ",   ""                         },  // so there is no ring
    {"MMemFifo_Link(): Fifo not initialized ", ""                         },  // the peer's end of the link is not up
    {"Assertion failed: 'mem'",                "image fifo not initialized"},
};
// clang-format on

bool isUsual(const LogKeptEntry& entry) {
    const std::string_view text = entry.text;
    return entry.sink == LogSink::trace || std::any_of(std::begin(kUsual), std::end(kUsual), [&](const UsualRow& row) {
               return text.starts_with(row.begin) && text.ends_with(row.end);
           });
}

LogLine lineOf(const LogKeptEntry& entry) {
    std::string text = kSinkNames[static_cast<int>(entry.sink)];
    text.append(" ").append(*entry.file ? entry.file : "?").append(":").append(std::to_string(entry.line));
    text.append(" ").append(entry.text);
    if (entry.times > 1) text.append(" (").append(std::to_string(entry.times)).append(" times)");
    return {text, isUsual(entry)};
}

// What the user has seen already. Main threads alone come here.
unsigned long long firstUntold = 0;
bool isShown = false;

// From a number on, which moves behind them.
std::vector<LogLine> linesFrom(unsigned long long& number) {
    std::vector<LogLine> lines;
    LogKeptEntry entry{};
    while (LogCore_NextKept(&number, &entry) != 0) lines.push_back(lineOf(entry));
    return lines;
}

}  // namespace

void keepProgramLog() {
    const LogDestination memory{nullptr, 0, 1};
    LogCore_SetDestination(&memory);
}

std::string openProgramLog(const LogOptions& options) {
    isShown = options.verbose;
    const LogDestination destination{options.file.c_str(), options.verbose, 0};
    if (LogCore_SetDestination(&destination) != 0) return "";
    return options.file +
           ": the log file cannot be opened for writing; check its folder and your rights, or name "
           "another with --log";
}

std::vector<LogLine> programLog() {
    unsigned long long first = 0;
    return linesFrom(first);
}

void tellLogBefore(const char* program, std::ostream& people) {
    if (isShown) return;
    std::vector<LogLine> lines = linesFrom(firstUntold);
    std::erase_if(lines, [](const LogLine& line) { return line.isUsual; });
    if (lines.empty()) return;
    const std::size_t told = std::min(lines.size(), kMaxTold);
    people << program << ": from the log (-v shows all of it):\n";
    std::for_each(lines.end() - static_cast<std::ptrdiff_t>(told), lines.end(),
                  [&people](const LogLine& line) { people << "  " << line.text << '\n'; });
    people << std::flush;
}

}  // namespace options
