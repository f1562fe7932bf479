// Limits on a grab's numbers, which determine the exit code.
#pragma once

#include <array>
#include <optional>
#include <ostream>
#include <span>
#include <vector>

#include "grab_statistics.h"

namespace host {

enum class Comparison { atMost, below, atLeast };

/// The options that set a limit which the user did not set. A limit set in this way sets no other.
enum class SetBy { nothing, countingLimit, rateLimit, saving };

struct LimitRow {
    const char* option;
    const char* key;  // of the number in the JSON
    Comparison comparison;
    const char* unit;
    const char* help;
    bool whole;         // a count, without a fraction
    bool countsImages;  // a limit that depends on the kinds of the images
    SetBy setBy;
    double setTo;
    std::optional<double> (*value)(const GrabResults& results);
};

constexpr std::size_t kLimitCount = 16;
std::span<const LimitRow, kLimitCount> limitRows();

/// The limit of each row as set by the user; none: not set.
using Limits = std::array<std::optional<double>, kLimitCount>;

struct LimitInForce {
    double limit;
    const char* setBy;  // the option that set it; null: set directly
};

/// Each row's limit; none: no limit. The user's value wins; otherwise the row's setBy decides.
/// @param saves  Whether the grab saves images (--output).
std::array<std::optional<LimitInForce>, kLimitCount> limitsInForce(const Limits& given, bool saves = false);

/// Whether a grab with these limits needs images of a simulator: one that counts images or their rate was given, and
/// none that allows faked ones.
bool needSimulator(const Limits& given);

/// Least latency, in nanoseconds, of which --max-latency-us says that it is too long; none without that limit.
std::optional<std::int64_t> latencyLimitNs(const Limits& limits);

struct BrokenLimit {
    const LimitRow* row;
    double limit;
    std::optional<double> value;  // none: it was not measured, which breaks every limit
    const char* setBy = nullptr;  // as in LimitInForce
};

/// The broken limits among those in force, in the order of the rows.
std::vector<BrokenLimit> brokenLimits(const Limits& given, const GrabResults& results);

/// Reports each on one line.
void tellBrokenLimits(const std::vector<BrokenLimit>& broken, std::ostream& people);

}  // namespace host
