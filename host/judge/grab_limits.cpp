#include "grab_limits.h"

#include <cmath>
#include <string>
#include <string_view>

#include "platform.h"

namespace host {
namespace {

template <std::uint64_t GrabResults::*count>
std::optional<double> countOf(const GrabResults& results) {
    return static_cast<double>(results.*count);
}

template <std::optional<double> GrabResults::*measure>
std::optional<double> measureOf(const GrabResults& results) {
    return results.*measure;
}

std::optional<double> notSavedOf(const GrabResults& results) {
    if (!results.notSaved) return std::nullopt;
    return static_cast<double>(*results.notSaved);
}

constexpr auto kMost = Comparison::atMost;
constexpr auto kLeast = Comparison::atLeast;
constexpr auto kBelow = Comparison::below;
constexpr auto kNone = SetBy::nothing;
constexpr auto kCounting = SetBy::countingLimit;

// clang-format off
constexpr LimitRow kRows[] = {
    // option             JSON key           kept when  unit
    // help
    //  whole   images set by             to value
    {"--max-lost",        "lost",            kMost,     "images",
     "Lost images",
        true,  true,  kNone,             0, countOf<&GrabResults::lost>},
    {"--max-repeated",    "repeated",        kMost,     "images",
     "Repeated images",
        true,  true,  kNone,             0, countOf<&GrabResults::repeated>},
    {"--max-reordered",   "reordered",       kMost,     "images",
     "Images that came behind a later one",
        true,  true,  kNone,             0, countOf<&GrabResults::reordered>},
    {"--max-torn",        "torn",            kMost,     "images",
     "Torn images",
        true,  true,  kNone,             0, countOf<&GrabResults::torn>},
    {"--max-faked",       "faked",           kMost,     "images",
     "Images that the camera made without a simulator",
        true,  true,  kNone,             0, countOf<&GrabResults::faked>},
    {"--max-jitter-us",   "jitter_p99_us",   kMost,     "us",
     "Jitter: the distance from the median period within which 99 of 100 periods lie. A period is the time between the "
     "arrivals of two neighbouring images; the gap that a lost image leaves is one too",
        false, false, kNone,             0, measureOf<&GrabResults::jitterP99Us>},
    {"--max-latency-us",  "latency_max_us",  kBelow,    "us",
     "Latency: from the moment when the image was complete to the call of the callback. Every image has to stay below; "
     "others are found as late",
        false, false, kNone,             0, measureOf<&GrabResults::latencyMaxUs>},
    {"--min-fps",         "fps_mean",        kLeast,    "images/s",
     "Mean rate between the first and the last arrival, without pauses",
        false, true,  kNone,             0, measureOf<&GrabResults::fpsMean>},
    {"--min-images",      "images",          kLeast,    "images",
     "Images of any kind",
        true,  true,  kNone,             0, countOf<&GrabResults::images>},
    {"--max-stale",       "stale",           kMost,     "images",
     "Images that were complete more than 1 s before they arrived, or before the grab began. The latter count for no "
     "other limit",
        true,  true,  kNone,             0, countOf<&GrabResults::stale>},
    {"--max-unverified",  "unverified",      kMost,     "images",
     "Images that could not be checked, as they have no valid strip",
        true,  true,  kCounting,         0, countOf<&GrabResults::unverified>},
    {"--max-format",      "format",          kMost,     "images",
     "Images of another size than the first one, or without a strip where one before had it",
        true,  true,  kCounting,         0, countOf<&GrabResults::format>},
    {"--max-counter",     "counter",         kMost,     "images",
     "Images at which the record's counter, less the strip's number, changed",
        true,  true,  kCounting,         0, countOf<&GrabResults::counter>},
    {"--max-time-back",   "time_back",       kMost,     "images",
     "Images with a time stamp before that of an image with a smaller number",
        true,  true,  kCounting,         0, countOf<&GrabResults::timeBack>},
    {"--max-pause-s",     "pause_s",         kMost,     "s",
     "All pauses together. A pause is a time without an image above 2 s and above three median periods; the mean rate "
     "leaves it out",
        false, false, SetBy::rateLimit,  2, measureOf<&GrabResults::pauseS>},
    {"--max-not-saved",   "not_saved",       kMost,     "images",
     "Images that were to be saved and were not",
        true,  true,  SetBy::saving,     0, notSavedOf},
};
// clang-format on
static_assert(std::size(kRows) == kLimitCount);

constexpr std::size_t rowOf(std::string_view option) {
    std::size_t row = 0;
    while (row < kLimitCount && kRows[row].option != option) ++row;
    return row;
}
constexpr std::size_t kLatencyRow = rowOf("--max-latency-us");
constexpr std::size_t kRateRow = rowOf("--min-fps");
constexpr std::size_t kTornRow = rowOf("--max-torn");
constexpr std::size_t kFakedRow = rowOf("--max-faked");
static_assert(kLatencyRow < kLimitCount && kRateRow < kLimitCount && kTornRow < kLimitCount && kFakedRow < kLimitCount);

// The option that the user gave; null: none that sets other limits.
const char* setterOf(const Limits& given, bool saves, SetBy what) {
    if (what == SetBy::saving) return saves ? "--output" : nullptr;
    for (std::size_t index = 0; index < kLimitCount; ++index) {
        const bool sets =
            what == SetBy::countingLimit ? kRows[index].countsImages : what == SetBy::rateLimit && index == kRateRow;
        if (given[index] && sets) return kRows[index].option;
    }
    return nullptr;
}

bool keeps(Comparison comparison, double value, double limit) {
    switch (comparison) {
        case Comparison::atMost:
            return value <= limit;
        case Comparison::below:
            return value < limit;
        case Comparison::atLeast:
            break;
    }
    return value >= limit;
}

std::string numberText(double value, bool whole) {
    char text[64];
    platform_format(text, sizeof text, whole ? "%.0f" : "%.3f", value);
    return text;
}

}  // namespace

std::span<const LimitRow, kLimitCount> limitRows() { return kRows; }

bool needSimulator(const Limits& given) {
    return setterOf(given, false, SetBy::countingLimit) && given[kFakedRow].value_or(0.0) <= 0.0;
}

std::optional<std::int64_t> latencyLimitNs(const Limits& limits) {
    if (!limits[kLatencyRow]) return std::nullopt;
    return static_cast<std::int64_t>(std::ceil(*limits[kLatencyRow] * 1000.0));
}

std::array<std::optional<LimitInForce>, kLimitCount> limitsInForce(const Limits& given, bool saves) {
    std::array<std::optional<LimitInForce>, kLimitCount> limits;
    for (std::size_t index = 0; index < kLimitCount; ++index) {
        if (given[index]) {
            limits[index] = {*given[index], nullptr};
        } else if (const char* const setter = setterOf(given, saves, kRows[index].setBy)) {
            limits[index] = {kRows[index].setTo, setter};
        }
    }
    return limits;
}

std::vector<BrokenLimit> brokenLimits(const Limits& given, const GrabResults& results) {
    auto limits = limitsInForce(given, results.notSaved.has_value());
    // If all images are torn, for example because the simulator's images are higher than the camera's, they must not
    // pass a limit as if they were verified.
    if (const char* const setter = setterOf(given, false, SetBy::countingLimit);
        setter && !given[kTornRow] && results.simulated == 0 && results.torn > 0)
        limits[kTornRow] = {0, setter};
    std::vector<BrokenLimit> broken;
    for (std::size_t index = 0; index < kLimitCount; ++index) {
        if (!limits[index]) continue;
        const std::optional<double> value = kRows[index].value(results);
        if (!value && kRows[index].setBy == SetBy::saving) continue;  // nothing was to be saved
        if (!value || !keeps(kRows[index].comparison, *value, limits[index]->limit))
            broken.push_back({&kRows[index], limits[index]->limit, value, limits[index]->setBy});
    }
    return broken;
}

void tellBrokenLimits(const std::vector<BrokenLimit>& broken, std::ostream& people) {
    for (const BrokenLimit& limit : broken) {
        const LimitRow& row = *limit.row;
        people << "dorven-host: limit broken: " << row.option << ' ' << numberText(limit.limit, row.whole);
        if (limit.setBy) people << " (the default with " << limit.setBy << ')';
        people << ": " << row.key << ' ';
        if (limit.value) {
            people << numberText(*limit.value, row.whole) << ' ' << row.unit;
        } else {
            people << "was not measured";
        }
        people << std::endl;
    }
}

}  // namespace host
