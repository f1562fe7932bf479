// Limits on a grab's numbers, which set the exit code.
#pragma once

#include <array>
#include <optional>
#include <ostream>
#include <span>
#include <vector>

#include "grab_statistics.h"

namespace host {

enum class Comparison { atMost, below, atLeast };

struct LimitRow {
    const char* option;
    const char* key;  // of the number in the JSON
    Comparison comparison;
    const char* unit;
    const char* help;
    bool whole;  // a count, without a fraction
    std::optional<double> (*value)(const GrabResults& results);
};

constexpr std::size_t kLimitCount = 10;
constexpr std::size_t kNotSavedLimit = kLimitCount - 1;  // the row of --max-not-saved
std::span<const LimitRow, kLimitCount> limitRows();

/// The limit of each row; none: no limit.
using Limits = std::array<std::optional<double>, kLimitCount>;

/// Least latency, in nanoseconds, of which --max-latency-us says that it is too long; none without that limit.
std::optional<std::int64_t> latencyLimitNs(const Limits& limits);

struct BrokenLimit {
    const LimitRow* row;
    double limit;
    std::optional<double> value;  // none: nothing was measured, which keeps no limit
};

/// In the order of the rows.
std::vector<BrokenLimit> brokenLimits(const Limits& limits, const GrabResults& results);

/// One line each.
void tellBrokenLimits(const std::vector<BrokenLimit>& broken, std::ostream& people);

}  // namespace host
