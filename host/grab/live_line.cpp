#include "live_line.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "platform.h"
#include "simulator_presence.h"
#include "terminal.h"
#include "unverified_reason.h"

namespace host {
namespace {

constexpr const char* kRed = "\x1B[31m";
constexpr const char* kPlain = "\x1B[0m";
constexpr const char* kClearToEnd = "\x1B[K";

struct Part {
    std::string text;
    bool alarm = false;
};

std::string number(const std::optional<double>& value, double divisor, const char* format) {
    if (!value) return "-";
    char text[40];
    platform_format(text, sizeof text, format, *value / divisor);
    return text;
}

struct FaultRow {
    const char* label;
    std::uint64_t GrabResults::*count;
};
// clang-format off
constexpr FaultRow kFaults[] = {
    {"lost",     &GrabResults::lost    },
    {"repeated", &GrabResults::repeated},
    {"torn",     &GrabResults::torn    },
    {"faked",    &GrabResults::faked   },
};
// clang-format on

// The reason that applies to most of the images.
std::string unverifiedText(const GrabResults& totals) {
    const auto& because = totals.unverifiedBecause;
    const auto most = std::max_element(because.begin(), because.end()) - because.begin();
    return "unverified " + std::to_string(totals.unverified) + " (" +
           unverifiedReason(static_cast<frames::Unverified>(most)).inShort + ')';
}

std::vector<Part> partsOf(const SecondNumbers& numbers, std::uint64_t wanted) {
    const GrabResults& second = numbers.second;
    std::string images = std::to_string(numbers.totals.images);
    if (wanted != 0) images.append(" of ").append(std::to_string(wanted));
    const auto ms = [](const std::optional<double>& value) { return number(value, 1000.0, "%.2f"); };
    std::vector<Part> parts{{images + " images"}, {number(second.fpsMean, 1.0, "%.1f") + "/s"}};
    // Faults come before numbers that do not fit on a narrow terminal.
    for (const FaultRow& row : kFaults) {
        const std::uint64_t count = numbers.totals.*row.count;
        parts.push_back({std::string(row.label) + ' ' + std::to_string(count), count > 0});
    }
    if (numbers.totals.unverified > 0) parts.push_back({unverifiedText(numbers.totals), true});
    parts.push_back(
        {"period " + ms(second.periodP50Us) + '/' + ms(second.periodP99Us) + '/' + ms(second.periodMaxUs) + " ms"});
    parts.push_back({"latency " + ms(second.latencyP50Us) + '/' + ms(second.latencyP99Us) + " ms"});
    parts.push_back({"CPU " + number(second.cpuPercent, 1.0, "%.0f") + " %"});
    return parts;
}

std::string advice(std::size_t columns, bool colours) {
    const std::string_view whole = kNoSimulator;
    const std::string text(whole.size() <= columns ? whole : std::string_view(kNoSimulatorInShort).substr(0, columns));
    return colours ? kRed + text + kPlain : text;
}

}  // namespace

std::string liveLine(const SecondNumbers& numbers, std::uint64_t wanted, std::size_t columns, bool colours) {
    if (numbers.noSimulator) return advice(columns, colours);
    std::string line;
    std::size_t used = 0;
    for (const Part& part : partsOf(numbers, wanted)) {
        const std::size_t gap = used == 0 ? 0 : 2;
        if (used + gap + part.text.size() > columns) break;
        used += gap + part.text.size();
        line.append(gap, ' ');
        line += part.alarm && colours ? kRed + part.text + kPlain : part.text;
    }
    return line;
}

bool coloursAreWanted(const char* noColor) { return !noColor || *noColor == '\0'; }

void LiveLine::onSecond(const SecondNumbers& numbers) {
    // The last column stays free, because some terminals begin a new line when it is filled.
    _terminal << '\r' << liveLine(numbers, _wanted, platform_terminalColumns() - 1, _colours) << kClearToEnd
              << std::flush;
}

void LiveLine::onEnd() { _terminal << '\r' << kClearToEnd << std::flush; }

}  // namespace host
