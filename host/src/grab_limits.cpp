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

constexpr std::size_t kLatencyRow = 6;

constexpr LimitRow kRows[] = {
    {"--max-lost",       "lost",           Comparison::atMost,  "images",   "Lost images",                                      true,  countOf<&GrabResults::lost>          },
    {"--max-repeated",   "repeated",       Comparison::atMost,  "images",   "Repeated images",                                  true,
     countOf<&GrabResults::repeated>                                                                                                                                        },
    {"--max-reordered",  "reordered",      Comparison::atMost,  "images",   "Images that came behind a later one",              true,
     countOf<&GrabResults::reordered>                                                                                                                                       },
    {"--max-torn",       "torn",           Comparison::atMost,  "images",   "Torn images",                                      true,  countOf<&GrabResults::torn>          },
    {"--max-faked",      "faked",          Comparison::atMost,  "images",   "Images that the camera made without a simulator",  true,
     countOf<&GrabResults::faked>                                                                                                                                           },
    {"--max-jitter-us",  "jitter_p99_us",  Comparison::atMost,  "us",
     "Jitter: the distance from the median period within which 99 of 100 periods lie. A period is the time between the "
     "arrivals of two neighbouring images; the gap that a lost image leaves is one too",                                        false, measureOf<&GrabResults::jitterP99Us> },
    {"--max-latency-us", "latency_max_us", Comparison::below,   "us",
     "Latency: from the moment when the image was complete to the call of the callback. Every image has to stay below; "
     "others are found as late",                                                                                                false, measureOf<&GrabResults::latencyMaxUs>},
    {"--min-fps",        "fps_mean",       Comparison::atLeast, "images/s", "Mean rate between the first and the last arrival",
     false,                                                                                                                            measureOf<&GrabResults::fpsMean>     },
    {"--min-images",     "images",         Comparison::atLeast, "images",   "Images of any kind",                               true,
     countOf<&GrabResults::images>                                                                                                                                          },
    {"--max-not-saved",  "not_saved",      Comparison::atMost,  "images",   "Images that were to be saved and were not",        true,
     notSavedOf                                                                                                                                                             },
};
static_assert(std::size(kRows) == kLimitCount && kRows[kLatencyRow].comparison == Comparison::below);
static_assert(std::string_view(kRows[kNotSavedLimit].key) == "not_saved");

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

std::optional<std::int64_t> latencyLimitNs(const Limits& limits) {
    if (!limits[kLatencyRow]) return std::nullopt;
    return static_cast<std::int64_t>(std::ceil(*limits[kLatencyRow] * 1000.0));
}

std::vector<BrokenLimit> brokenLimits(const Limits& limits, const GrabResults& results) {
    std::vector<BrokenLimit> broken;
    for (std::size_t index = 0; index < kLimitCount; ++index) {
        if (!limits[index]) continue;
        const std::optional<double> value = kRows[index].value(results);
        if (!value || !keeps(kRows[index].comparison, *value, *limits[index]))
            broken.push_back({&kRows[index], *limits[index], value});
    }
    return broken;
}

void tellBrokenLimits(const std::vector<BrokenLimit>& broken, std::ostream& people) {
    for (const BrokenLimit& limit : broken) {
        const LimitRow& row = *limit.row;
        people << "dorven-host: limit broken: " << row.option << ' ' << numberText(limit.limit, row.whole) << ": "
               << row.key << ' ';
        if (limit.value) {
            people << numberText(*limit.value, row.whole) << ' ' << row.unit;
        } else {
            people << "was not measured";
        }
        people << std::endl;
    }
}

}  // namespace host
