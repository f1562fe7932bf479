// The one definition of percentiles for all programs: the smallest value that the given share of all values does not
// exceed.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace frames {

/// Rank of a percentile among values in ascending order. For 0.99 it is the last one when there are fewer than 100.
///
/// @param share  0 … 1.   @param count  At least 1.   @return 1 … count.
inline std::uint64_t percentileRank(double share, std::uint64_t count) {
    constexpr double kRounding = 1e-12;  // 0.07 * 100 is a little more than 7
    const double rank = std::ceil(share * static_cast<double>(count) * (1.0 - kRounding));
    return std::clamp(static_cast<std::uint64_t>(std::max(rank, 1.0)), std::uint64_t{1}, count);
}

/// @param values  Are reordered.   @return None without values.
inline std::optional<double> percentile(std::vector<double>& values, double share) {
    if (values.empty()) return std::nullopt;
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(percentileRank(share, values.size())) - 1;
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

}  // namespace frames
