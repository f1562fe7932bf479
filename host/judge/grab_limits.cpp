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
     "Images that arrived after one with a greater number",
        true,  true,  kNone,             0, countOf<&GrabResults::reordered>},
    {"--max-torn",        "torn",            kMost,     "images",
     "Torn images",
        true,  true,  kNone,             0, countOf<&GrabResults::torn>},
    {"--max-faked",       "faked",           kMost,     "images",
     "Images that the camera made without a simulator",
        true,  true,  kNone,             0, countOf<&GrabResults::faked>},
    {"--max-jitter-us",   "jitter_p99_us",   kMost,     "us",
     "Microseconds from the median period within which 99 of 100 periods lie; a period is the time between the "
     "arrivals of two neighbouring images",
        false, false, kNone,             0, measureOf<&GrabResults::jitterP99Us>},
    {"--max-latency-us",  "latency_max_us",  kBelow,    "us",
     "Microseconds from the moment when an image was complete to the call of the callback; images that reach the limit "
     "are late",
        false, false, kNone,             0, measureOf<&GrabResults::latencyMaxUs>},
    {"--min-fps",         "fps_mean",        kLeast,    "images/s",
     "Images per second, from the first arrival to the last, without pauses",
        false, true,  kNone,             0, measureOf<&GrabResults::fpsMean>},
    {"--min-images",      "images",          kLeast,    "images",
     "Images of any kind",
        true,  true,  kNone,             0, countOf<&GrabResults::images>},
    {"--max-stale",       "stale",           kMost,     "images",
     "Images that were complete more than 1 s before they arrived, or before the grab began",
        true,  true,  kNone,             0, countOf<&GrabResults::stale>},
    {"--max-unverified",  "unverified",      kMost,     "images",
     "Images without a valid strip, which cannot be checked",
        true,  true,  kCounting,         0, countOf<&GrabResults::unverified>},
    {"--max-format",      "format",          kMost,     "images",
     "Images of another size than the first one, or without a strip after one that had it",
        true,  true,  kCounting,         0, countOf<&GrabResults::format>},
    {"--max-counter",     "counter",         kMost,     "images",
     "Images at which the difference between the record's counter and the strip's number changed",
        true,  true,  kCounting,         0, countOf<&GrabResults::counter>},
    {"--max-time-back",   "time_back",       kMost,     "images",
     "Images with an earlier time stamp than an image with a smaller number",
        true,  true,  kCounting,         0, countOf<&GrabResults::timeBack>},
    {"--max-pause-s",     "pause_s",         kMost,     "s",
     "Seconds of all pauses together; a pause is a time without an image, longer than 2 s and than three median "
     "periods",
        false, false, SetBy::rateLimit,  2, measureOf<&GrabResults::pauseS>},
    {"--max-not-saved",   "not_saved",       kMost,     "images",
     "Images that should have been saved and were not",
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
