#include "fault_request.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <vector>

#include "closest_name.h"
#include "frame_rate.h"

namespace simulator {
namespace {

using Kind = FaultKind;
using Time = FaultRow::Time;

// clang-format off
constexpr FaultRow kFaults[] = {
    // kind               name              time            image  what it does
    {Kind::lateAnswer,    "late-answer",    Time::needed,   false, "answer the camera's next request that late"},
    {Kind::wrongAnswer,   "wrong-answer",   Time::none,     false, "answer the camera's next request with other bytes"},
    {Kind::recreate,      "recreate",       Time::none,     false, "close the ring and lay it anew"},
    {Kind::hang,          "hang",           Time::none,     false, "stay attached, but deliver nothing any more"},
    {Kind::crash,         "crash",          Time::none,     false, "end at once, without detaching"},
    {Kind::wrongSize,     "wrong-size",     Time::optional, false, "lay the ring with shorter lines for that long"},
    {Kind::garbageHeader, "garbage-header", Time::optional, false, "overwrite the ring's header with garbage"},
    {Kind::stall,         "stall",          Time::needed,   false, "deliver nothing for that long"},
    {Kind::drop,          "drop",           Time::none,     true,  "leave the frame out"},
    {Kind::reorder,       "reorder",        Time::none,     true,  "deliver the frame after its successor"},
    {Kind::torn,          "torn",           Time::none,     true,  "take the lower half from the frame before"},
    {Kind::counterWrap,   "counter-wrap",   Time::none,     true,  "let the counter's low 32 bits jump to 0"},
    {Kind::timeBack,      "time-back",      Time::optional, true,  "set the time stamp back before its predecessor's"},
    {Kind::delay,         "delay",          Time::needed,   true,  "deliver the frame that late"},
    {Kind::jitter,        "jitter",         Time::needed,   true,  "deliver each frame late by up to that, at random"},
    {Kind::repeat,        "repeat",         Time::none,     true,  "deliver the frame twice"},
};
// clang-format on

constexpr bool rowsStandInOrder() {
    for (std::size_t row = 0; row < std::size(kFaults); ++row) {
        if (kFaults[row].kind != static_cast<FaultKind>(row)) return false;
    }
    return true;
}
static_assert(rowsStandInOrder());

const FaultRow* rowNamed(std::string_view name) {
    const auto* const row = std::ranges::find(kFaults, name, &FaultRow::name);
    return row == std::end(kFaults) ? nullptr : row;
}

std::string unknownName(std::string_view name) {
    std::vector<std::string_view> names;
    for (const FaultRow& row : kFaults) names.push_back(row.name);
    constexpr std::size_t kLongest = 100;  // what is longer is no name, and is not looked at
    return options::noSuchName("fault", name.substr(0, kLongest), names);
}

bool parseFrame(std::string_view text, std::uint64_t& frame) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), frame);
    return failure == std::errc() && end == text.data() + text.size() && frame <= std::uint64_t{1} << 53;
}

bool parseAt(std::string_view text, FaultWhen& when) { return parseFrame(text, when.first); }

bool parseEvery(std::string_view text, FaultWhen& when) { return parseFrame(text, when.first) && when.first > 0; }

bool parseProbability(std::string_view text, FaultWhen& when) {
    const auto number = parseDecimal(text);
    if (!number || number->numerator > number->denominator) return false;
    when.probability = static_cast<double>(number->numerator) / static_cast<double>(number->denominator);
    return true;
}

bool parseWhenTime(std::string_view text, FaultWhen& when) {
    const auto time = parseTime(text);
    if (time) when.timeNs = *time;
    return time.has_value();
}

bool parseRange(std::string_view text, FaultWhen& when) {
    const std::size_t dash = text.find('-');
    return dash != std::string_view::npos && parseFrame(text.substr(0, dash), when.first) &&
           parseFrame(text.substr(dash + 1), when.last) && when.first <= when.last;
}

struct WhenRow {
    std::string_view prefix;
    FaultWhen::Kind kind;
    bool (*parse)(std::string_view text, FaultWhen& when);
};

// clang-format off
constexpr WhenRow kWhens[] = {
    {"every:", FaultWhen::Kind::every,       parseEvery      },
    {"p:",     FaultWhen::Kind::probability, parseProbability},
    {"t:",     FaultWhen::Kind::time,        parseWhenTime   },
    {"from:",  FaultWhen::Kind::from,        parseAt         },
    {"",       FaultWhen::Kind::at,          parseAt         },
    {"",       FaultWhen::Kind::range,       parseRange      },
};
// clang-format on

bool parseWhen(std::string_view text, FaultWhen& when) {
    for (const WhenRow& row : kWhens) {
        if (!text.starts_with(row.prefix) || !row.parse(text.substr(row.prefix.size()), when)) continue;
        when.kind = row.kind;
        return true;
    }
    return false;
}

std::string quoted(std::string_view text) { return std::string(1, '\'').append(text).append("'"); }

// Reads the part after the name; none: there is no ':'.
bool parseFaultTime(const FaultRow& row, std::optional<std::string_view> text, FaultRequest& request,
                    std::string& problem) {
    if (!text) {
        if (row.time == Time::needed)
            problem.append(row.name).append(" needs a time, such as ").append(row.name).append(":20ms");
        return row.time != Time::needed;
    }
    const auto time = parseTime(*text);
    if (row.time == Time::none) {
        problem.append(row.name).append(" takes no time");
    } else if (!time || *time == 0) {
        problem.append(quoted(*text))
            .append(" is no time such as 20ms, from 1ns to 86400s, with its unit (ns, us, ms, s)");
    } else {
        request.timeNs = *time;
    }
    return problem.empty();
}

bool parseParts(std::string_view text, FaultRequest& request, std::string& problem) {
    const std::size_t at = text.find('@');
    const std::string_view what = text.substr(0, at);
    const std::size_t colon = what.find(':');
    const FaultRow* const row = rowNamed(what.substr(0, colon));
    if (!row) problem = unknownName(what.substr(0, colon));
    if (!row) return false;
    request.kind = row->kind;
    const auto time = colon == std::string_view::npos ? std::nullopt : std::optional(what.substr(colon + 1));
    if (!parseFaultTime(*row, time, request, problem)) return false;
    if (at == std::string_view::npos || parseWhen(text.substr(at + 1), request.when)) return true;
    problem =
        quoted(text.substr(at + 1)).append(" tells no frames such as 100, 100-200, from:100, every:50, p:0.01 or t:3s");
    return false;
}

}  // namespace

std::span<const FaultRow> faultTable() { return kFaults; }

const FaultRow& rowOf(FaultKind kind) { return kFaults[static_cast<std::size_t>(kind)]; }

std::optional<FaultRequest> parseFault(std::string_view text, std::string& error) {
    FaultRequest request;
    std::string problem;
    request.text = text;
    if (parseParts(text, request, problem)) return request;
    const std::string_view name = text.substr(0, text.find_first_of(":@"));
    error = rowNamed(name) ? quoted(text).append(": ").append(problem) : problem;
    return std::nullopt;
}

}  // namespace simulator
