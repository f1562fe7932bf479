#include "grab_table.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "count_rows.h"
#include "readable_number.h"

namespace host {
namespace {

using Value = std::optional<double> GrabResults::*;

constexpr std::size_t kLabelWidth = 13;
constexpr std::size_t kNumberWidth = 12;
constexpr std::size_t kWidth = 79;
constexpr double kMillisecondsFromUs = 10'000.0;  // from here on, times are easier to read in milliseconds

struct FaultRow {
    const char* text;
    std::uint64_t GrabResults::*count;
};
// clang-format off
constexpr FaultRow kFaults[] = {  // of the verdict, the gravest first
    {" torn",         &GrabResults::torn      },
    {" faked",        &GrabResults::faked     },
    {" not verified", &GrabResults::unverified},
    {" repeated",     &GrabResults::repeated  },
    {" reordered",    &GrabResults::reordered },
};
// clang-format on

struct TimesRow {
    const char* label;
    Value p50, p99, max;  // null: there is no such number
};
// clang-format off
constexpr TimesRow kTimes[] = {
    {"period",  &GrabResults::periodP50Us,  &GrabResults::periodP99Us,  &GrabResults::periodMaxUs },
    {"latency", &GrabResults::latencyP50Us, &GrabResults::latencyP99Us, &GrabResults::latencyMaxUs},
    {"jitter",  nullptr,                    &GrabResults::jitterP99Us,  nullptr                   },
};
// clang-format on

struct RateRow {
    const char* label;
    const char* unit;
    Value value;
};
// clang-format off
constexpr RateRow kRates[] = {
    {"rate",      "images/s",    &GrabResults::fpsMean   },
    {"data rate", "MB/s",        &GrabResults::mbPerS    },
    {"CPU",       "% of a core", &GrabResults::cpuPercent},
    {"duration",  "s",           &GrabResults::durationS },
    {"paused",    "s",           &GrabResults::pauseS    },
};
// clang-format on

struct EndRow {
    const char* end;
    const char* text;
};
constexpr EndRow kEnds[] = {
    {"no_image", "then no more came"},
    {"connection_lost", "then the simulator was lost"},
    {"failed", "then the grab failed"},
};

std::string label(const std::string& text) { return leftAligned(text, kLabelWidth); }

std::string number(const std::string& text) { return rightAligned(text, kNumberWidth); }

std::string verifiedText(const GrabResults& results) {
    if (results.simulated == results.images) return ", all verified";
    return results.simulated == 0 ? ", none verified" : ", " + readable(results.simulated) + " verified";
}

// Without a strip nobody knows what was lost.
std::string lostText(const GrabResults& results) {
    if (results.lost > 0) return ", " + readable(results.lost) + " lost";
    return results.simulated + results.torn > 0 ? ", nothing lost" : "";
}

std::string endText(const GrabReport& report) {
    const auto* const row = std::ranges::find(kEnds, report.end, &EndRow::end);
    std::string text = row == std::end(kEnds) ? "" : row->text;
    if (report.limitsBroken.empty()) return text;
    return text + (text.empty() ? "" : "; ") + counted(report.limitsBroken.size(), "limit") + " broken";
}

std::string imagesText(const GrabResults& results) {
    if (results.images == 0) return "no images";
    std::string text = counted(results.images, "image");
    if (results.faked == results.images) return text + ", all faked by the camera";
    constexpr std::string_view kMore = ", and more";
    text += verifiedText(results) + lostText(results);
    for (const FaultRow& row : kFaults) {
        const std::uint64_t count = results.*row.count;
        if (count == 0) continue;
        const std::string fault = ", " + readable(count) + row.text;
        if (text.size() + fault.size() + kMore.size() > kWidth) return text.append(kMore);
        text += fault;
    }
    return text;
}

void printCounts(const GrabResults& results, bool all, std::ostream& stream) {
    bool first = true;
    for (const CountRow& row : countRows()) {
        const std::uint64_t count = results.*row.value;
        // The verdict has these two.
        const bool told = row.value == &GrabResults::images || row.value == &GrabResults::simulated;
        if (!all && (told || count == 0)) continue;
        if (std::exchange(first, false)) stream << '\n';
        stream << label(row.label) << number(readable(count)) << '\n';
    }
}

std::optional<double> valueOf(const GrabResults& results, Value value) { return value ? results.*value : std::nullopt; }

std::array<std::optional<double>, 3> timesOf(const GrabResults& results, const TimesRow& row) {
    return {valueOf(results, row.p50), valueOf(results, row.p99), valueOf(results, row.max)};
}

double greatestTime(const GrabResults& results) {
    double greatest = 0.0;
    for (const TimesRow& row : kTimes)
        for (const auto& time : timesOf(results, row)) greatest = std::max(greatest, time.value_or(0.0));
    return greatest;
}

bool isMeasured(const GrabResults& results, const TimesRow& row) {
    return std::ranges::any_of(timesOf(results, row), [](const auto& time) { return time.has_value(); });
}

void printTimes(const GrabResults& results, const TableStyle& style, std::ostream& stream) {
    const auto isWanted = [&](const TimesRow& row) { return style.all || isMeasured(results, row); };
    if (std::ranges::none_of(kTimes, isWanted)) return;
    const bool milliseconds = greatestTime(results) >= kMillisecondsFromUs;
    const std::string unit = milliseconds ? "ms" : style.micro;
    stream << '\n' << label("times in " + unit);
    for (const char* const column : {"p50", "p99", "max"}) stream << number(column);
    stream << '\n';
    for (const TimesRow& row : kTimes) {
        if (!isWanted(row)) continue;
        stream << label(row.label);
        for (auto time : timesOf(results, row)) {
            if (time && milliseconds) *time /= 1000.0;
            stream << number(readable(time, milliseconds ? 3 : 1));
        }
        stream << '\n';
    }
}

void printRates(const GrabResults& results, bool all, std::ostream& stream) {
    bool first = true;
    for (const RateRow& row : kRates) {
        const std::optional<double>& value = results.*row.value;
        const bool noPause = row.value == &GrabResults::pauseS && value.value_or(0.0) == 0.0;
        if (!all && (!value || noPause)) continue;
        if (std::exchange(first, false)) stream << '\n';
        stream << label(row.label) << number(readable(value, 1));
        if (value) stream << ' ' << row.unit;
        stream << '\n';
    }
}

}  // namespace

bool hasTable(const GrabReport& report) { return report.results.images > 0 || report.end == "stop"; }

std::string grabVerdict(const GrabReport& report) {
    std::string images = imagesText(report.results);
    const std::string end = endText(report);
    if (end.empty()) return images;
    return images + (images.size() + end.size() + 2 > kWidth ? ";\n" : "; ") + end;
}

void printTable(const GrabReport& report, const TableStyle& style, std::ostream& stream) {
    stream << grabVerdict(report) << '\n';
    if (report.results.images > 0 || style.all) {
        printCounts(report.results, style.all, stream);
        printTimes(report.results, style, stream);
        printRates(report.results, style.all, stream);
    }
    stream << std::flush;
}

}  // namespace host
